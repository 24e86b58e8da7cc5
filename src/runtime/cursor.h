// The two cursors that every byte from outside goes through. Running past the end is a state, never an access.
#pragma once

#include <bit>
#include <cstddef>
#include <cstring>
#include <span>
#include <string_view>
#include <type_traits>

#include "runtime/memory.h"
#include "runtime/swapped.h"

namespace vorne {

/// Reads bytes front to back. What lies past the end is missing: it reads as nothing or 0, and so does all that
/// follows.
class ByteReader {
 public:
  using Bytes = std::span<const char>;

  explicit ByteReader(Bytes bytes) : left_(bytes) {}

  bool atEnd() const { return left_.empty(); }
  Bytes rest() const { return left_; }
  /// True once something was missing, or its reader called fail().
  bool failed() const { return failed_; }
  /// What was read makes no sense; nothing more is read.
  void fail() {
    left_ = {};
    failed_ = true;
  }

  /// The next `size` bytes; none when there are fewer.
  Bytes take(std::size_t size) {
    if (size > left_.size()) {
      fail();
      return {};
    }
    const Bytes taken = left_.first(size);
    left_ = left_.subspan(size);
    return taken;
  }

  /// The next number, an unsigned one of 2, 4 or 8 bytes in that order.
  template <class T>
  T number(std::endian order) {
    static_assert(std::is_unsigned_v<T>);
    T value = 0;
    const Bytes bytes = take(sizeof(T));
    if (!bytes.empty()) std::memcpy(&value, bytes.data(), sizeof(T));
    return order == std::endian::native ? value : SwapBytes(value);
  }

  /// The bytes before the next zero byte, which is passed over. Without one, all that is left: only then it may be that
  /// something came back and failed() is true.
  std::string_view text() {
    Bytes taken;
    if (!takeUntil('\0', taken)) {
      taken = left_;
      fail();
    }
    return {taken.data(), taken.size()};
  }

  /// True when `end` stands ahead: `taken` becomes the bytes before it and reading goes on behind it.
  bool takeUntil(char end, Bytes& taken) {
    if (left_.empty()) return false;
    const void* found = std::memchr(left_.data(), end, left_.size());
    if (found == nullptr) return false;
    const auto size = static_cast<std::size_t>(static_cast<const char*>(found) - left_.data());
    taken = left_.first(size);
    left_ = left_.subspan(size + 1);
    return true;
  }

 private:
  Bytes left_;
  bool failed_ = false;
};

/// Collects bytes in a buffer of its own that grows as needed; error 5 when it cannot.
class ByteWriter {
 public:
  ByteWriter() = default;
  ByteWriter(const ByteWriter&) = delete;
  ByteWriter& operator=(const ByteWriter&) = delete;
  ~ByteWriter() { Release(bytes_); }

  void put(char byte) { put({&byte, 1}); }
  void put(std::span<const char> bytes) {
    if (bytes.size() > room_ - size_) grow(size_ + bytes.size());
    if (!bytes.empty()) std::memcpy(bytes_ + size_, bytes.data(), bytes.size());
    size_ += bytes.size();
  }

  const char* data() const { return bytes_; }
  std::size_t size() const { return size_; }

 private:
  void grow(std::size_t needed) {
    const std::size_t room = needed < 128 ? 128 : needed * 2;
    auto* grown = static_cast<char*>(Allocate(room));
    if (size_ != 0) std::memcpy(grown, bytes_, size_);
    Release(bytes_);
    bytes_ = grown;
    room_ = room;
  }

  char* bytes_ = nullptr;
  std::size_t size_ = 0;
  std::size_t room_ = 0;
};

}  // namespace vorne
