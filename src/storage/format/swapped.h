// Inside the storage floor: the byte order that numbers have in records.
#pragma once

#include <cstdint>

namespace vorne {

inline std::uint64_t SwapBytes(std::uint64_t value) {
  return __builtin_bswap64(value);
}
inline std::uint32_t SwapBytes(std::uint32_t value) {
  return __builtin_bswap32(value);
}

}  // namespace vorne
