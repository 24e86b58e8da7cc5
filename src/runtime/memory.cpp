#include "runtime/memory.h"

#include <cstdlib>

#include "runtime/vorneobjs.h"

namespace vorne {

long allocationsLeft = -1;

void* TryAllocate(std::size_t size) {
  if (allocationsLeft == 0) return nullptr;
  if (allocationsLeft > 0) --allocationsLeft;
  return std::calloc(1, size == 0 ? 1 : size);
}

void* Allocate(std::size_t size) {
  void* memory = TryAllocate(size);
  if (memory == nullptr) __RuntimeError(5, -1);
  return memory;
}

void Release(void* memory) {
  std::free(memory);
}

}  // namespace vorne
