// Locks that outlast who only asks: there is no asking for a lock without taking it, so that a reader or a tool that
// looks whether a program lives holds it for an instant.
#pragma once

#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "storage/files/system.h"

namespace vorne {

/// flock(2) without waiting, tried for a few milliseconds. False when the file stays another's, with errno.
/// @param operation LOCK_SH or LOCK_EX
inline bool LockPatiently(int file, int operation) {
  constexpr int kTries = 5;
  constexpr useconds_t kBetween = 1000;
  for (int tries = 1; fileSystem.flock(file, operation | LOCK_NB) != 0; ++tries) {
    if (tries == kTries || errno != EWOULDBLOCK) return false;
    ::usleep(kBetween);
  }
  return true;
}

}  // namespace vorne
