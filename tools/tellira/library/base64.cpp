// Both directions of its own, and not the library's: the tool must be able to look at what the library does wrong.
#include "library/base64.h"

#include <array>
#include <cstdint>

namespace tool {
namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

constexpr auto kValues = [] {
  std::array<std::int8_t, 256> values{};
  values.fill(-1);
  for (std::size_t i = 0; i < kAlphabet.size(); ++i) {
    values[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  }
  return values;
}();

std::uint32_t byteAt(std::string_view bytes, std::size_t i) {
  return i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0U;
}

}  // namespace

std::string encodeBase64(std::string_view bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::uint32_t group = byteAt(bytes, i) << 16 | byteAt(bytes, i + 1) << 8 | byteAt(bytes, i + 2);
    text += kAlphabet[group >> 18];
    text += kAlphabet[group >> 12 & 63];
    text += i + 1 < bytes.size() ? kAlphabet[group >> 6 & 63] : '=';
    text += i + 2 < bytes.size() ? kAlphabet[group & 63] : '=';
  }
  return text;
}

std::optional<std::string> decodeBase64(std::string_view text) {
  const std::size_t end = text.find_last_not_of('=');
  text = text.substr(0, end == std::string_view::npos ? 0 : end + 1);
  std::string bytes;
  bytes.reserve(text.size() / 4 * 3 + 2);
  std::uint32_t group = 0;
  int bits = 0;
  for (const char c : text) {
    const int value = kValues[static_cast<unsigned char>(c)];
    if (value < 0) return std::nullopt;
    group = group << 6 | static_cast<std::uint32_t>(value);
    bits += 6;
    // What is left at the end are the zero bits that filled the last group.
    if (bits < 8) continue;
    bits -= 8;
    bytes += static_cast<char>(group >> bits & 0xFF);
  }
  return bytes;
}

}  // namespace tool
