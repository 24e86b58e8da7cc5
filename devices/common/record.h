// State files: `key=value` lines between a line naming the format and a checksum line. A state describes itself once,
// in a member template `fields(visitor)`; the writer and the reader here are the two visitors.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "common/codes.h"
#include "common/files.h"
#include "common/text.h"

namespace device {

/// No number of a state is further from zero: sums of a few never wrap.
inline constexpr std::int64_t kLargestNumber = 1'000'000'000'000'000;
/// Rows that one list of a state may have.
inline constexpr std::size_t kMostRows = 4000;

/// Control characters, '%' and '|' as %XX.
std::string escaped(std::string_view text);
/// False for a broken escape.
bool unescape(std::string_view text, std::string& result);

/// Collects the values of one list row, joined by '|'.
class RowWriter {
 public:
  template <class Value>
  void operator()(const Value& value) {
    if (!row_.empty()) row_ += '|';
    if constexpr (std::is_same_v<Value, std::string>) {
      row_ += "=" + escaped(value);  // the sign keeps an empty first text apart from an empty row
    } else {
      row_ += std::to_string(static_cast<std::int64_t>(value));
    }
  }
  const std::string& row() const { return row_; }

 private:
  std::string row_;
};

/// Takes the values of one list row apart again.
class RowReader {
 public:
  explicit RowReader(std::string_view row) : parts_(split(row, '|')) {}

  template <class Value>
  void operator()(Value& value) {
    const std::string part = next_ < parts_.size() ? parts_[next_] : "";
    ++next_;
    if constexpr (std::is_same_v<Value, std::string>) {
      sound_ = sound_ && part.starts_with('=') && unescape(std::string_view(part).substr(1), value);
    } else {
      const auto number = parseInteger(part, -kLargestNumber, kLargestNumber);
      sound_ = sound_ && number && static_cast<std::int64_t>(static_cast<Value>(*number)) == *number;
      if (sound_) value = static_cast<Value>(*number);
    }
  }
  bool sound() const { return sound_ && next_ == parts_.size(); }

 private:
  std::vector<std::string> parts_;
  std::size_t next_ = 0;
  bool sound_ = true;
};

/// A list element: plain values are a row of one, structures bring their own `fields`.
template <class Visitor, class Value>
void visitRow(Visitor& visitor, Value& value) {
  if constexpr (requires { value.fields(visitor); }) {
    value.fields(visitor);
  } else {
    visitor(value);
  }
}

class StateWriter {
 public:
  template <class Value>
  void operator()(std::string_view key, Value& value) {
    RowWriter row;
    visitRow(row, value);
    line(key, row.row());
  }
  template <class Value>
  void operator()(std::string_view key, std::vector<Value>& list) {
    line(key, std::to_string(list.size()));
    for (std::size_t i = 0; i < list.size(); ++i) {
      (*this)(std::string(key) + "." + std::to_string(i + 1), list[i]);
    }
  }
  /// The whole file.
  std::string finish(std::string_view format) const;

 private:
  void line(std::string_view key, std::string_view value);
  std::string lines_;
};

class StateReader {
 public:
  /// Takes a file apart; `sound` is false unless its first and last line are right.
  StateReader(std::string_view format, std::string_view content);

  template <class Value>
  void operator()(std::string_view key, Value& value) {
    RowReader row(take(key));
    visitRow(row, value);
    sound_ = sound_ && row.sound();
  }
  template <class Value>
  void operator()(std::string_view key, std::vector<Value>& list) {
    const auto count = parseInteger(take(key), 0, static_cast<std::int64_t>(kMostRows));
    sound_ = sound_ && count;
    list.clear();
    for (std::int64_t i = 0; sound_ && i < *count; ++i) {
      (*this)(std::string(key) + "." + std::to_string(i + 1), list.emplace_back());
    }
  }
  /// True when every line was wanted and every wanted line was there and readable.
  bool sound() const { return sound_ && lines_.empty(); }

 private:
  std::string take(std::string_view key);
  std::map<std::string, std::string, std::less<>> lines_;
  bool sound_ = true;
};

/// Reads a state from the file at `path`, of at most `limit` bytes; without a file it stays as it is. `content` gets
/// what was read. Returns 0, kFileError or kDamagedState.
template <class State>
int loadState(const std::string& path, std::string_view format, std::size_t limit, State& state, std::string& content) {
  const ReadResult result = readWhole(path, limit, content);
  if (result != ReadResult::kOk) return result == ReadResult::kAbsent ? 0 : kFileError;
  StateReader reader(format, content);
  state.fields(reader);
  return reader.sound() && state.consistent() ? 0 : kDamagedState;
}

}  // namespace device
