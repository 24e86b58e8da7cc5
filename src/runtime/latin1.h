// Messages are ISO-8859-1 bytes, sources are UTF-8: "não encontrada"_l1 converts at compile time and refuses
// anything outside the ISO-8859-1 range.
#pragma once

#include <cstddef>

namespace vorne {

template <std::size_t kSize>
struct Latin1 {
  char bytes[kSize]{};

  consteval Latin1(const char (&utf8)[kSize]) {
    std::size_t out = 0;
    for (std::size_t in = 0; in + 1 < kSize; ++in) {
      const auto lead = static_cast<unsigned char>(utf8[in]);
      if (lead < 0x80) {
        bytes[out++] = utf8[in];
      } else if (lead == 0xC2 || lead == 0xC3) {  // U+0080 to U+00FF
        const auto trail = static_cast<unsigned char>(utf8[++in]);
        bytes[out++] = static_cast<char>(((lead & 0x03) << 6) | (trail & 0x3F));
      } else {
        throw "outside ISO-8859-1";
      }
    }
  }
};

inline namespace literals {
template <Latin1 kText>
consteval const char* operator""_l1() {
  return kText.bytes;
}
}  // namespace literals

}  // namespace vorne
