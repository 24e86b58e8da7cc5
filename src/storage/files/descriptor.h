// Opening files so that none gets the number of a standard stream.
#pragma once

#include <fcntl.h>

#include "storage/files/system.h"

namespace vorne {

/// The open file under a number above those of the standard streams. In a host that has closed them the system hands
/// out their numbers: 0 would count as a failure in the Win32-named calls, and a message printed to 1 or 2 would end up
/// inside the database.
inline int AboveStreams(int file) {
  if (file < 0 || file > 2) return file;
  const int moved = ::fcntl(file, F_DUPFD_CLOEXEC, 3);
  fileSystem.close(file);
  return moved;
}

/// open(2) through the seam, so.
inline int OpenFile(const char* path, int flags, mode_t mode = 0) {
  return AboveStreams(fileSystem.open(path, flags, mode));
}

}  // namespace vorne
