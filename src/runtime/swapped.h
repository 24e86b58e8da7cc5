// Numbers whose bytes stand in the other order: in tables' records, on the wire.
#pragma once

#include <cstdint>

namespace vorne {

inline std::uint64_t SwapBytes(std::uint64_t value) {
  return __builtin_bswap64(value);
}
inline std::uint32_t SwapBytes(std::uint32_t value) {
  return __builtin_bswap32(value);
}
inline std::uint16_t SwapBytes(std::uint16_t value) {
  return __builtin_bswap16(value);
}

}  // namespace vorne
