// What the storage floor calls the system for files by. Tests put failing calls into `fileSystem`; what wraps a call
// here is what every caller wants.
#include "storage/files/system.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>

namespace vorne {

namespace {

// Past the file-size limit the system sends a signal that would end the host; here the call just fails with EFBIG. A
// signal that waited before is not ours and keeps waiting.
class QuietSizeLimit {
 public:
  QuietSizeLimit() {
    sigemptyset(&limit_);
    sigaddset(&limit_, SIGXFSZ);
    pthread_sigmask(SIG_BLOCK, &limit_, &before_);
    sigset_t waiting;
    waited_ = sigpending(&waiting) == 0 && sigismember(&waiting, SIGXFSZ) == 1;
  }
  ~QuietSizeLimit() {
    const int error = errno;
    const timespec now = {};
    if (!waited_) sigtimedwait(&limit_, nullptr, &now);
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = error;
  }
  QuietSizeLimit(const QuietSizeLimit&) = delete;
  QuietSizeLimit& operator=(const QuietSizeLimit&) = delete;

 private:
  sigset_t limit_, before_;
  bool waited_;
};

int openFile(const char* path, int flags, mode_t mode) {
  // A program that the host starts must not keep the files open, nor with them the locks that say who writes.
  return ::open(path, flags | O_CLOEXEC, mode);
}
ssize_t writeBytes(int file, const void* buffer, std::size_t length) {
  const QuietSizeLimit quiet;
  return ::write(file, buffer, length);
}
int truncateFile(int file, off_t size) {
  const QuietSizeLimit quiet;
  return ::ftruncate(file, size);
}
int allocateFile(int file, off_t offset, off_t length) {
  const QuietSizeLimit quiet;
  return ::fallocate(file, 0, offset, length);
}
void* mapFile(std::size_t length, int file) {
  // Shared, so that what a killed process had stored reaches the file all the same.
  return ::mmap(nullptr, length, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
}
void* remapFile(void* address, std::size_t oldLength, std::size_t newLength) {
  return ::mremap(address, oldLength, newLength, MREMAP_MAYMOVE);
}
int statFile(const char* path, struct stat* result) {
  return ::stat(path, result);
}

}  // namespace

const System kSystem = {openFile, ::close,  ::read,    writeBytes, ::lseek, truncateFile, allocateFile,
                        ::fsync,  mapFile,  remapFile, ::munmap,   ::msync, ::rename,     ::unlink,
                        ::mkdir,  statFile, ::flock,   ::pread,    ::link};
System fileSystem = kSystem;

}  // namespace vorne
