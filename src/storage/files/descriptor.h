// Opening files so that none gets the number of a standard stream.
#pragma once

#include <fcntl.h>

#include "storage/files/system.h"

namespace vorne {

/// open(2) through the seam. In a host that has closed its standard streams the system hands out their numbers: 0 would
/// count as a failure in the Win32-named calls, and a message printed to 1 or 2 would end up inside the database.
inline int OpenFile(const char* path, int flags, mode_t mode = 0) {
  const int file = fileSystem.open(path, flags, mode);
  if (file < 0 || file > 2) return file;
  const int moved = ::fcntl(file, F_DUPFD_CLOEXEC, 3);
  fileSystem.close(file);
  return moved;
}

}  // namespace vorne
