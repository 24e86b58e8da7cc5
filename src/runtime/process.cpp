// Tests and the tool put a hook here, which may throw; a host's process ends.
#include "runtime/process.h"

#include <cstdio>
#include <cstdlib>

#include "runtime/hooks.h"

namespace vorne {

bool isEnding = false;
int endingCode = -1;
void (*endProcessHook)(int status) = nullptr;

void EndProcess(int status) {
  // The journal first: the hook may throw instead of coming back.
  if (hooks.leaveJournal != nullptr) hooks.leaveJournal();
  if (endProcessHook != nullptr) endProcessHook(status);
  std::fflush(stdout);
  std::exit(status);
}

}  // namespace vorne
