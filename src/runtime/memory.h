// The one place that the library takes memory from, so that a failing allocation can be played in every test.
#pragma once

#include <cstddef>

namespace vorne {

/// `size` zeroed bytes (at least 1), or null when there is no memory. Give back with Release.
void* TryAllocate(std::size_t size);
/// The same, but raises error 5 instead of returning null.
void* Allocate(std::size_t size);
/// As Allocate, but the bytes are unspecified: for memory that is filled at once.
void* AllocateRaw(std::size_t size);
/// Null is ignored.
void Release(void* memory);

/// For tests: how many more allocations succeed; negative (the default) is without limit.
extern long allocationsLeft;

}  // namespace vorne
