#include "timing.h"

#include <cstdio>
#include <cstdlib>

void Fail(const char* what, int code) {
  std::fprintf(stderr, "failed: %s (%d)\n", what, code);
  std::exit(1);
}
