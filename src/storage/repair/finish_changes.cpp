#include "storage/repair/finish_changes.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

#include "storage/journal/recovery.h"
#include "storage/vornerdd.h"

namespace vorne {

namespace {

// No status by which the runtime itself ends a process: after a fatal error that is 0.
constexpr int kRecovered = 42;  // the exit status of a child that could finish the interrupted changes

}  // namespace

// In a process of its own: it works through the mapped files, which end the process where they cannot go on.
bool FinishInterruptedChanges(const std::string& path) {
  if (path.size() >= sizeof wcDir) return false;
  // What waits in the buffers would be printed once more by a child that the runtime ends.
  std::fflush(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    ::dup2(STDERR_FILENO, STDOUT_FILENO);  // where it would say why it ends
    std::memcpy(wcDir, path.c_str(), path.size() + 1);
    RecoverInterruptedChanges();
    ::_exit(kRecovered);
  }
  int status = 0;
  return child > 0 && ::waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == kRecovered;
}

}  // namespace vorne
