// The system calls that touch files, behind one table: the floor calls nothing of the kind elsewhere, so tests put
// failing or recording versions in their place.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

namespace vorne {

/// Each place has the meaning, results and errno of the call it is named after.
struct System {
  int (*open)(const char* path, int flags, mode_t mode);
  int (*close)(int file);
  ssize_t (*read)(int file, void* buffer, std::size_t length);
  ssize_t (*write)(int file, const void* buffer, std::size_t length);
  off_t (*lseek)(int file, off_t offset, int whence);
  int (*ftruncate)(int file, off_t size);  // past the file-size limit: EFBIG, no signal; so also write and fallocate
  int (*fallocate)(int file, off_t offset, off_t length);  // mode 0: real space, read as zeros
  int (*fsync)(int file);
  void* (*mmap)(std::size_t length, int file);  // from offset 0, shared, for reading and writing
  void* (*mremap)(void* address, std::size_t oldLength, std::size_t newLength);  // may move
  int (*munmap)(void* address, std::size_t length);
  int (*msync)(void* address, std::size_t length, int flags);
  int (*rename)(const char* from, const char* to);
  int (*unlink)(const char* path);
  int (*mkdir)(const char* path, mode_t mode);
  int (*stat)(const char* path, struct stat* result);
  int (*flock)(int file, int operation);
  ssize_t (*pread)(int file, void* buffer, std::size_t length, off_t offset);
  int (*link)(const char* from, const char* to);
};

/// The system itself.
extern const System kSystem;
/// What the floor calls.
extern System fileSystem;

}  // namespace vorne
