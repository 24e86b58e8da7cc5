#include "runtime/process.h"

#include <cstdio>
#include <cstdlib>

namespace vorne {

void EndProcess(int status) {
  std::fflush(stdout);
  std::exit(status);
}

}  // namespace vorne
