// Reading the digits that stand at given places of a text.
#pragma once

#include <algorithm>
#include <string_view>

namespace vorne {

/// The decimal number in the `width` characters of `s` from index `at` on, up to the first one that is no digit; places
/// behind the text hold none. Larger numbers than 99999 read as 99999, which no part of a date or time reaches.
inline unsigned NumberAt(std::string_view s, std::size_t at, std::size_t width) {
  unsigned number = 0;
  for (const char c : s.substr(std::min(at, s.size()), width)) {
    if (c < '0' || c > '9') break;
    number = std::min(number * 10 + static_cast<unsigned>(c - '0'), 99999U);
  }
  return number;
}

}  // namespace vorne
