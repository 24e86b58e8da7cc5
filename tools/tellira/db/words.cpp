// Names in the files are ISO-8859-1 and may be anything: they are masked and converted before they are shown.
#include "db/words.h"

#include <array>
#include <cstdio>

#include "edge/masking.h"
#include "text/text.h"

namespace tool {

std::string shown(std::string_view latin1) {
  return maskCards(utf8FromLatin1(latin1));
}

std::string codeText(std::uint32_t code) {
  std::string text;
  for (int shift = 24; code != 0 && shift >= 0; shift -= 8) {
    const char c = static_cast<char>(code >> shift);
    text += c >= ' ' && c < 0x7F ? c : '?';
  }
  return text;
}

std::string counted(std::uint64_t count, const std::string& noun, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? noun : many.empty() ? noun + "s" : many);
}

std::string sizeText(std::uint64_t bytes) {
  static constexpr std::array<const char*, 4> kUnits{"B", "kB", "MB", "GB"};
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; size >= 1000 && unit + 1 < kUnits.size(); ++unit) size /= 1000;
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", size, kUnits[unit]);
  return text;
}

}  // namespace tool
