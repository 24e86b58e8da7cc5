// Blocks are kept by number; what at() returns points into one, or into joined_ where the bytes lie in several, and is
// good until the next call.
#include "storage/reading/read_file.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "storage/files/system.h"
#include "storage/reading/read_failure.h"

namespace vorne {

ReadFile::ReadFile(ReadFile&& other) noexcept
    : path_(std::move(other.path_)),
      file_(std::exchange(other.file_, -1)),
      device_(other.device_),
      inode_(other.inode_),
      size_(other.size_),
      blocks_(std::move(other.blocks_)),
      kept_(std::move(other.kept_)) {}

void ReadFile::forget() {
  for (const std::size_t number : kept_) blocks_[number] = {};
  kept_.clear();
}

void ReadFile::close() {
  forget();
  if (file_ >= 0) fileSystem.close(std::exchange(file_, -1));
}

void ReadFile::renew() {
  forget();
  struct stat found;
  if (file_ < 0) return;
  // By name: what is written anew takes the old file's place, and the open one would stay as it was for ever.
  if (fileSystem.stat(path_.c_str(), &found) != 0 || found.st_dev != device_ || found.st_ino != inode_) return close();
  size_ = std::min<std::uint64_t>(static_cast<std::uint64_t>(found.st_size), kLargestFile);
}

void ReadFile::open() {
  struct stat found;
  // A pipe of that name must not hold the reader up.
  file_ = fileSystem.open(path_.c_str(), O_RDONLY | O_NONBLOCK, 0);
  if (file_ < 0 && errno == ENOENT) throw ReadFailure(ReadFailure::kMissing, path_ + " is missing");
  if (file_ < 0 || ::fstat(file_, &found) != 0 || !S_ISREG(found.st_mode)) {
    const std::string cause = file_ < 0 ? std::strerror(errno) : "it is no regular file";
    close();
    throw ReadFailure(ReadFailure::kRefused, path_ + " cannot be read: " + cause);
  }
  device_ = found.st_dev;
  inode_ = found.st_ino;
  size_ = std::min<std::uint64_t>(static_cast<std::uint64_t>(found.st_size), kLargestFile);
}

const ReadFile::Block& ReadFile::block(std::size_t number) {
  if (number >= blocks_.size()) blocks_.resize(number + 1);
  if (blocks_[number].length == 0) {
    // All at once: what is read is mostly read from front to back, and the oldest would be as good as any.
    if (kept_.size() >= kMostBlocks) forget();
    Block read;
    read.bytes.reset(new char[kBlock]);
    ssize_t length;
    do length = fileSystem.pread(file_, read.bytes.get(), kBlock, static_cast<off_t>(number * kBlock));
    while (length < 0 && errno == EINTR);
    if (length < 0)
      throw ReadFailure(ReadFailure::kRefused, path_ + " cannot be read: " + std::string(std::strerror(errno)));
    read.length = static_cast<std::size_t>(length);
    if (length > 0) kept_.push_back(number);
    blocks_[number] = std::move(read);
  }
  return blocks_[number];
}

const char* ReadFile::at(std::uint64_t offset, std::size_t length) {
  if (file_ < 0) open();
  const auto failure = [&] {
    return ReadFailure(ReadFailure::kDamaged, name() + " is damaged: it has no " + std::to_string(length) +
                                                  " bytes at " + std::to_string(offset) +
                                                  "; `tellira db check` tells what can be saved");
  };
  if (offset > size_ || length > size_ - offset) throw failure();
  auto number = static_cast<std::size_t>(offset / kBlock);
  std::size_t place = offset % kBlock;
  if (length <= kBlock - place) {
    const Block& only = block(number);
    if (only.length < place + length) throw failure();
    return only.bytes.get() + place;
  }
  joined_.clear();
  for (; joined_.size() < length; ++number, place = 0) {
    const Block& next = block(number);
    if (next.length <= place) throw failure();
    joined_.append(next.bytes.get() + place, std::min(next.length - place, length - joined_.size()));
  }
  return joined_.data();
}

std::uint64_t ReadFile::size() {
  if (file_ < 0) open();
  return size_;
}

std::uint64_t ReadFile::used() {
  const FileHeader told = header();
  // One that has no room for the block is wrong: where records stand is told by other numbers, too.
  const bool isWrong = told.szmap < kHeaderSize + std::uint64_t{told.AppInfoLen};
  return std::max<std::uint64_t>(isWrong ? size_ : std::min<std::uint64_t>(told.szmap, size_), kHeaderSize);
}

}  // namespace vorne
