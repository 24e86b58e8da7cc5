// Standard Base64, written apart from the code under test.
#pragma once

#include <string>
#include <string_view>

inline constexpr std::string_view kBase64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

inline std::string base64(std::string_view bytes) {
  std::string text;
  unsigned bits = 0;
  int have = 0;
  for (const unsigned char c : bytes) {
    bits = bits << 8 | c;
    for (have += 8; have >= 6; have -= 6) text += kBase64[bits >> (have - 6) & 63];
  }
  if (have > 0) text += kBase64[bits << (6 - have) & 63];
  text.resize((text.size() + 3) / 4 * 4, '=');
  return text;
}

/// The bytes of a text, up to its padding.
inline std::string fromBase64(std::string_view text) {
  std::string bytes;
  unsigned bits = 0;
  int have = 0;
  for (const char c : text.substr(0, text.find('='))) {
    bits = bits << 6 | static_cast<unsigned>(kBase64.find(c));
    if ((have += 6) < 8) continue;
    have -= 8;
    bytes += static_cast<char>(bits >> have);
  }
  return bytes;
}
