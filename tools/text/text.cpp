// Nothing here depends on the locale: a sale must read the same on every workstation.
#include "text/text.h"

#include <algorithm>
#include <cstdint>

namespace tool {
namespace {

char upper(char c) {
  return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

/// Length of the well-formed UTF-8 sequence at the start of `text`, 0 when there is none; fills `character`.
std::size_t sequenceLength(std::string_view text, std::uint32_t& character) {
  const auto lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) {
    character = lead;
    return 1;
  }
  const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
  // A lead byte cannot look like one that follows; from F5 on nothing in Unicode lies.
  if (lead < 0xC0 || lead > 0xF4 || text.size() < length) return 0;
  // The bits of the lead byte behind the ones that tell the length.
  character = lead & (0xFFU >> (length + 1));
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0) != 0x80) return 0;
    character = character << 6 | (byte & 0x3FU);
  }
  // What fits fewer bytes is no UTF-8: a check would see other letters than a reader.
  constexpr std::uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  return character < kSmallest[length] ? 0 : length;
}

}  // namespace

std::string latin1FromUtf8(std::string_view utf8) {
  std::string latin1;
  latin1.reserve(utf8.size());
  for (std::size_t at = 0; at < utf8.size();) {
    std::uint32_t character = 0;
    const std::size_t length = sequenceLength(utf8.substr(at), character);
    if (length == 0) throw ConversionError(at, "the byte at position " + std::to_string(at + 1) + " is not UTF-8");
    if (character > 0xFF) {
      throw ConversionError(at, "the character '" + std::string(utf8.substr(at, length)) +
                                    "' does not exist in ISO-8859-1, the only alphabet the devices know");
    }
    latin1 += static_cast<char>(character);
    at += length;
  }
  return latin1;
}

std::string utf8FromLatin1(std::string_view latin1) {
  std::string utf8;
  utf8.reserve(latin1.size());
  for (const char c : latin1) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x80) {
      utf8 += c;
    } else {
      utf8 += static_cast<char>(0xC0 | byte >> 6);
      utf8 += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return utf8;
}

std::string_view trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string upperCase(std::string_view text) {
  std::string result(text);
  std::transform(result.begin(), result.end(), result.begin(), upper);
  return result;
}

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> pieces;
  for (;;) {
    const std::size_t end = text.find(separator);
    pieces.emplace_back(text.substr(0, end));
    if (end == std::string_view::npos) return pieces;
    text.remove_prefix(end + 1);
  }
}

bool matchesGlob(std::string_view pattern, std::string_view text) {
  // Only the last star is ever tried again, so the time is bounded by the product of the two lengths.
  std::size_t p = 0, t = 0, afterStar = std::string_view::npos, retry = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      afterStar = ++p;
      retry = t;
    } else if (p < pattern.size() && (pattern[p] == '?' || upper(pattern[p]) == upper(text[t]))) {
      ++p;
      ++t;
    } else if (afterStar != std::string_view::npos) {
      p = afterStar;
      t = ++retry;
    } else {
      return false;
    }
  }
  return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

std::size_t columns(std::string_view utf8) {
  return static_cast<std::size_t>(
      std::count_if(utf8.begin(), utf8.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

}  // namespace tool
