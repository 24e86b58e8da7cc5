// Inside the storage floor: a file of the data directory, read piece by piece without a mapping: one that a writer cuts
// must not become a signal in the reader. What was read is kept until the file may have changed.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "storage/disk_layout.h"

namespace vorne {

class ReadFile {
 public:
  explicit ReadFile(std::string path) : path_(std::move(path)) {}
  ~ReadFile() { close(); }
  ReadFile(ReadFile&& other) noexcept;
  ReadFile& operator=(ReadFile&&) = delete;

  /// Forgets what was read; the next reading takes the file that has the name then.
  void renew();
  /// Gives the file back until the next reading.
  void close();

  /// `length` bytes at `offset`, good until the next call.
  /// @throws ReadFailure kMissing, kRefused; kDamaged past the end
  const char* at(std::uint64_t offset, std::size_t length);
  template <class T>
  T get(std::uint64_t offset) {
    return Load<T>(at(offset, sizeof(T)));
  }
  FileHeader header() { return get<FileHeader>(0); }
  /// Bytes that the file has, at most kLargestFile.
  std::uint64_t size();
  /// The end of what is used: what the header says, as far as the file goes.
  std::uint64_t used();

 private:
  static constexpr std::size_t kBlock = 16384;
  static constexpr std::size_t kMostBlocks = 4096;  // 64 MB

  struct Block {
    std::unique_ptr<char[]> bytes;
    std::size_t length = 0;
  };

  void open();
  const Block& block(std::size_t number);
  void forget();
  std::string name() const { return path_.substr(path_.rfind('/') + 1); }

  std::string path_;
  int file_ = -1;
  std::uint64_t device_ = 0, inode_ = 0, size_ = 0;
  std::vector<Block> blocks_;
  std::vector<std::size_t> kept_;  // numbers of the blocks that have bytes
  std::string joined_;             // what lies in two blocks
};

}  // namespace vorne
