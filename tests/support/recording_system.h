// The system with a record of what is surely on the disk, so that tests can make what a power cut may leave: beside the
// directory "DB", in "recorded", each file as far as it was flushed, named by its inode number. It outlives the process
// that writes.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>
#include <string>

#include "storage/files/system.h"
#include "support/scratch_directory.h"

namespace recording {

inline constexpr std::size_t kPage = 4096;

inline std::string recorded(ino_t inode) {
  return "recorded/" + std::to_string(inode);
}
inline struct stat look(int file) {
  struct stat found = {};
  fstat(file, &found);
  return found;
}
inline ino_t inodeOf(const std::filesystem::path& path) {
  struct stat found = {};
  return stat(path.c_str(), &found) == 0 ? found.st_ino : 0;
}

/// What a flush brings to the disk: `length` bytes from `offset` on.
inline void flush(ino_t inode, const void* bytes, std::size_t length, off_t offset) {
  const int disk = ::open(recorded(inode).c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (pwrite(disk, bytes, length, offset) != static_cast<ssize_t>(length)) std::abort();
  close(disk);
}
inline void flushAll(const std::filesystem::path& file, ino_t inode) {
  std::filesystem::copy_file(file, recorded(inode), std::filesystem::copy_options::overwrite_existing);
}

/// Everything is on the disk now.
inline void settle() {
  for (const auto& entry : std::filesystem::directory_iterator("DB")) flushAll(entry, inodeOf(entry));
}

struct Mapping {
  ino_t inode;
  std::size_t length;
};
inline std::map<char*, Mapping> mappings;
inline std::mt19937 random;  // decides which pages reach the disk when that is only asked for
using vorne::fileSystem, vorne::kSystem;

// A new file may have the number of one that is gone.
inline int open(const char* path, int flags, mode_t mode) {
  const bool made = inodeOf(path) == 0;
  const int file = kSystem.open(path, flags, mode);
  if (made && file >= 0) std::filesystem::remove(recorded(look(file).st_ino));
  return file;
}
inline int fsync(int file) {
  const struct stat found = look(file);
  if (S_ISREG(found.st_mode)) flushAll("/proc/self/fd/" + std::to_string(file), found.st_ino);
  return 0;
}
inline void* mmap(std::size_t length, int file) {
  void* at = kSystem.mmap(length, file);
  if (at != MAP_FAILED) mappings[static_cast<char*>(at)] = {look(file).st_ino, length};
  return at;
}
inline void* mremap(void* address, std::size_t oldLength, std::size_t newLength) {
  void* at = kSystem.mremap(address, oldLength, newLength);
  if (at == MAP_FAILED) return at;
  auto moved = mappings.extract(static_cast<char*>(address));
  moved.key() = static_cast<char*>(at);
  moved.mapped().length = newLength;
  mappings.insert(std::move(moved));
  return at;
}
inline int munmap(void* address, std::size_t length) {
  mappings.erase(static_cast<char*>(address));
  return kSystem.munmap(address, length);
}
inline int msync(void* address, std::size_t length, int flags) {
  auto at = mappings.upper_bound(static_cast<char*>(address));
  if (at == mappings.begin() || (--at)->first + at->second.length <= address) std::abort();
  const std::size_t first = static_cast<std::size_t>(static_cast<char*>(address) - at->first) / kPage * kPage;
  for (std::size_t page = first; page < first + length; page += kPage)
    if (flags == MS_SYNC || random() % 2 == 0)
      flush(at->second.inode, at->first + page, std::min(kPage, first + length - page), static_cast<off_t>(page));
  return 0;
}

inline void install(unsigned seed) {
  random.seed(seed);
  const vorne::System& s = kSystem;
  fileSystem = {open,   s.close, s.read,   s.write,  s.lseek, s.ftruncate, s.fallocate, fsync,   mmap,  mremap,
                munmap, msync,   s.rename, s.unlink, s.mkdir, s.stat,      s.flock,     s.pread, s.link};
}

/// Makes the directory `to` as a power cut may leave it: of what is not surely on the disk, about `pages` of the pages
/// and sizes are.
inline void makeImage(const std::string& to, std::mt19937::result_type seed, double pages) {
  std::mt19937 image(seed);
  const auto isNew = [&] { return std::uniform_real_distribution<>()(image) < pages; };
  std::filesystem::create_directories(to);
  for (const auto& entry : std::filesystem::directory_iterator("DB")) {
    const std::string now = readFile(entry);
    std::string bytes = readFile(recorded(inodeOf(entry)));
    const std::size_t size = isNew() ? now.size() : bytes.size();
    bytes.resize(std::max(now.size(), bytes.size()));
    for (std::size_t page = 0; page < now.size(); page += kPage)
      if (isNew()) bytes.replace(page, kPage, now, page, kPage);
    bytes.resize(size);
    writeFile(std::filesystem::path(to) / entry.path().filename(), bytes);
  }
}

}  // namespace recording
