#include "storage/repair/data_directory.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "storage/files/descriptor.h"

namespace vorne {

namespace {

constexpr std::size_t kPiece = 1 << 20;

FileKind targetKind(const std::string& path) {
  struct stat found;
  if (fileSystem.stat(path.c_str(), &found) != 0) return FileKind::kLostLink;
  return S_ISREG(found.st_mode) ? FileKind::kLink : FileKind::kOther;
}

// What has been read when the file ends early is all there is: it may shrink while it is read.
void readPieces(int file, std::size_t wanted, RawFile& raw, const std::function<void(std::size_t)>& readSome) {
  // Not zeroed before: that would write up to 256 MB twice.
  raw.memory.reset(new char[wanted]);
  while (raw.length < wanted) {
    const ssize_t n = fileSystem.read(file, raw.memory.get() + raw.length, std::min(kPiece, wanted - raw.length));
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) raw.error = std::strerror(errno);
    if (n <= 0) return;
    raw.length += static_cast<std::size_t>(n);
    if (readSome) readSome(static_cast<std::size_t>(n));
  }
}

}  // namespace

DataDirectory::File FileOf(const std::string& path) {
  constexpr std::int64_t kPerSecond = 1'000'000'000;
  struct stat found;
  if (::lstat(path.c_str(), &found) != 0) return {FileKind::kMissing, 0, 0, 0};
  const FileKind kind = S_ISREG(found.st_mode)   ? FileKind::kRegular
                        : S_ISLNK(found.st_mode) ? targetKind(path)
                                                 : FileKind::kOther;
  return {kind, found.st_ino, static_cast<std::uint64_t>(found.st_size),
          found.st_ctim.tv_sec * kPerSecond + found.st_ctim.tv_nsec};
}

DataDirectory::DataDirectory(std::string path) : path_(std::move(path)) {
  DIR* directory = ::opendir(path_.c_str());
  if (directory == nullptr) return;
  exists_ = true;
  while (const dirent* found = ::readdir(directory)) {
    const std::string name = found->d_name;
    if (name == "." || name == "..") continue;
    const File file = FileOf(pathOf(name));
    if (file.kind != FileKind::kMissing) files_.emplace(name, file);
  }
  ::closedir(directory);
}

std::uint64_t DataDirectory::sizeOf(const std::string& name) const {
  const auto found = files_.find(name);
  return found == files_.end() ? 0 : found->second.size;
}

FileKind DataDirectory::kindOf(const std::string& name) const {
  const auto found = files_.find(name);
  return found == files_.end() ? FileKind::kMissing : found->second.kind;
}

RawFile DataDirectory::read(const std::string& name, std::size_t limit,
                            const std::function<void(std::size_t)>& readSome) const {
  RawFile raw;
  struct stat found;
  // Since the listing the name may have become a link, or a pipe whose opening would wait for its writer.
  const int file = OpenFile(pathOf(name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (file < 0 || ::fstat(file, &found) != 0) {
    raw.error = std::strerror(errno);
  } else if (!S_ISREG(found.st_mode)) {
    raw.error = "not a regular file";
  } else {
    raw.fileSize = static_cast<std::uint64_t>(found.st_size);
    readPieces(file, static_cast<std::size_t>(std::min<std::uint64_t>(raw.fileSize, limit)), raw, readSome);
  }
  if (file >= 0) fileSystem.close(file);
  return raw;
}

FileHeader FileHeaderOf(FileBytes bytes) {
  return bytes.size() < kHeaderSize ? FileHeader{} : Load<FileHeader>(bytes.data());
}

}  // namespace vorne
