// Running out of memory is error 5 and ends the process; TryAllocate is for those who have something to give up first.
#include "runtime/memory.h"

#include <cstdlib>

#include "runtime/vorneobjs.h"

namespace vorne {

// -1: as many as the system gives. Tests count down to the one that fails.
long allocationsLeft = -1;

namespace {

/// Counts one allocation; false when it shall fail.
bool granted() {
  if (allocationsLeft == 0) return false;
  if (allocationsLeft > 0) --allocationsLeft;
  return true;
}

void* orFail(void* memory) {
  if (memory == nullptr) __RuntimeError(5, -1);
  return memory;
}

}  // namespace

// Zeroed for everybody: texts are copied into fresh memory without their end.
void* TryAllocate(std::size_t size) {
  return granted() ? std::calloc(1, size == 0 ? 1 : size) : nullptr;
}
void* Allocate(std::size_t size) {
  return orFail(TryAllocate(size));
}
void* AllocateRaw(std::size_t size) {
  return orFail(granted() ? std::malloc(size == 0 ? 1 : size) : nullptr);
}

void Release(void* memory) {
  std::free(memory);
}

}  // namespace vorne
