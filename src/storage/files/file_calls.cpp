// The file calls under their Win32 names, as far as programs and this floor use them. Handles are descriptors, -1 for
// none; what those calls answered is answered here, also where it hides a failure, since callers in the field look at
// nothing else.
#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "storage/files/descriptor.h"
#include "storage/vornerdd.h"

using vorne::fileSystem;

namespace {

// A disposition with this bit empties an existing file. CREATE_ALWAYS lacks it and does not: the callers know.
constexpr UInt32 kEmpties = 4;

int descriptorFor(HANDLE file) {
  return static_cast<int>(file);
}

// A file that cannot be looked at just now is there: what is missing gets made anew.
bool isGone(const char* name) {
  struct stat found;
  return fileSystem.stat(name, &found) != 0 && errno == ENOENT;
}

// A new file instead of a cut one: whoever has the old one mapped would get a signal at the next touch.
void makeEmpty(const char* name) {
  fileSystem.unlink(name);
  const int file = vorne::OpenFile(name, O_WRONLY | O_CREAT | O_TRUNC, 0666);
  if (file >= 0) fileSystem.close(file);
}

int accessFlags(UInt32 access) {
  const bool reads = (access & GENERIC_READ) != 0, writes = (access & GENERIC_WRITE) != 0;
  if (reads == writes) return O_RDWR;
  return reads ? O_RDONLY : O_WRONLY;
}

int counted(ssize_t done, int* count) {
  if (count != nullptr) *count = static_cast<int>(done);
  return static_cast<int>(done);
}

}  // namespace

HANDLE CreateFile(const char* name, UInt32 access, UInt32, void*, UInt32 disposition, UInt32, HANDLE) {
  if (name == nullptr || *name == 0) return INVALID_HANDLE_VALUE;
  if ((disposition & kEmpties) != 0 || isGone(name)) makeEmpty(name);
  // A pipe of that name must not hold up the cash desk.
  return vorne::OpenFile(name, accessFlags(access) | O_NONBLOCK);
}

int ReadFile(HANDLE file, void* buffer, UInt32 length, int* count, void*) {
  return counted(fileSystem.read(descriptorFor(file), buffer, length), count);
}

int WriteFile(HANDLE file, const void* buffer, UInt32 length, int* count, void*) {
  return counted(fileSystem.write(descriptorFor(file), buffer, length), count);
}

long SetFilePointer(HANDLE file, long distance, long*, UInt32 method) {
  return static_cast<long>(fileSystem.lseek(descriptorFor(file), distance, static_cast<int>(method)));
}

int SetEndOfFile(HANDLE file) {
  const long position = SetFilePointer(file, 0, nullptr, FILE_CURRENT);
  // At position 0 nothing is cut, and success is 0, not 1: both are known to the callers.
  return position <= 0 ? 0 : fileSystem.ftruncate(descriptorFor(file), position);
}

long GetFileSize(HANDLE file, UInt32*) {
  const long position = SetFilePointer(file, 0, nullptr, FILE_CURRENT);
  const long size = SetFilePointer(file, 0, nullptr, FILE_END);
  SetFilePointer(file, position, nullptr, FILE_BEGIN);
  return size;
}

int CloseHandle(HANDLE file) {
  fileSystem.close(descriptorFor(file));
  return 1;
}

int FlushFileBuffers(HANDLE file) {
  fileSystem.fsync(descriptorFor(file));
  return 1;
}

int DeleteFile(const char* name) {
  return name != nullptr && fileSystem.unlink(name) == 0;
}

int MoveFile(const char* from, const char* to) {
  // 1 also when it failed: whoever has to know calls the system's rename.
  if (from != nullptr && to != nullptr) fileSystem.rename(from, to);
  return 1;
}

int CreateDirectory(const char* path, void*) {
  if (path != nullptr) fileSystem.mkdir(path, 0777);
  return 1;
}

HANDLE CreateFileMapping(HANDLE file, void*, UInt32, UInt32, UInt32 size, const char*) {
  if (file < 1) return 0;
  SetFilePointer(file, 0, nullptr, FILE_BEGIN);
  // The mapping is made here, and its address is the handle; MapViewOfFile has nothing left to do.
  return reinterpret_cast<HANDLE>(fileSystem.mmap(size, descriptorFor(file)));
}

void* MapViewOfFile(HANDLE mapping, UInt32, UInt32, UInt32, UInt32) {
  return reinterpret_cast<void*>(mapping);
}

int FlushViewOfFile(const void* address, std::size_t length) {
  if (address == nullptr || length == 0) return 1;
  // The system takes only addresses of whole pages.
  static const auto page = static_cast<std::uintptr_t>(::sysconf(_SC_PAGESIZE));
  const auto first = reinterpret_cast<std::uintptr_t>(address);
  const std::uintptr_t aligned = first / page * page;
  // Not waited for: a cash desk cannot stand still for the disk at every record. A kill loses nothing by it, since the
  // mapping is shared; only a power loss can.
  fileSystem.msync(reinterpret_cast<void*>(aligned), length + (first - aligned), MS_ASYNC);
  return 1;
}
