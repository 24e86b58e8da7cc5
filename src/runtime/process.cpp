#include "runtime/process.h"

#include <cstdio>
#include <cstdlib>

namespace vorne {

void (*endProcessHook)(int status) = nullptr;

void EndProcess(int status) {
  if (endProcessHook != nullptr) endProcessHook(status);
  std::fflush(stdout);
  std::exit(status);
}

}  // namespace vorne
