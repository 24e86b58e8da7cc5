// The Base64 codec over raw bytes: the standard alphabet, "=" padding, no line breaks, no validation.
#include <array>
#include <cstring>

#include "builtins/vornefun.h"
#include "runtime/memory.h"

namespace {

constexpr char kStandardAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kAlphabetSize = 64;
constexpr unsigned char kAbsent = 255;

constexpr std::array<unsigned char, 256> reverseOf(const char* alphabet) {
  std::array<unsigned char, 256> values{};
  values.fill(kAbsent);
  for (std::size_t i = 0; i < kAlphabetSize; ++i) {
    values[static_cast<unsigned char>(alphabet[i])] = static_cast<unsigned char>(i);
  }
  return values;
}

constexpr auto kStandardValues = reverseOf(kStandardAlphabet);

}  // namespace

const char* m_szBase64Table = kStandardAlphabet;

void EncodeBase64Bytes(const unsigned char* src, char* dst, int n) {
  const unsigned a = src[0];
  const unsigned b = src[1];
  const unsigned c = src[2];
  const char* const table = m_szBase64Table;
  dst[0] = table[a >> 2];
  dst[1] = table[((a << 4) & 0x30) + (b >> 4)];
  dst[2] = n > 1 ? table[((b << 2) & 0x3C) + (c >> 6)] : '=';
  dst[3] = n > 2 ? table[c & 0x3F] : '=';
}

int FindBase64Val(char c) {
  // The reverse table is that of the standard alphabet only; another one is searched.
  if (m_szBase64Table == kStandardAlphabet) return kStandardValues[static_cast<unsigned char>(c)];
  const void* found = std::memchr(m_szBase64Table, c, kAlphabetSize);
  return found == nullptr ? kAbsent : static_cast<int>(static_cast<const char*>(found) - m_szBase64Table);
}

int DecodeBase64Bytes(const char* src, unsigned char* dst) {
  // A character outside the alphabet is 255, and its bits go into the bytes as they are: hosts send such texts, and
  // refusing them would refuse the call.
  const unsigned d0 = static_cast<unsigned>(FindBase64Val(src[0]));
  const unsigned d1 = static_cast<unsigned>(FindBase64Val(src[1]));
  const unsigned d2 = static_cast<unsigned>(FindBase64Val(src[2]));
  const unsigned d3 = static_cast<unsigned>(FindBase64Val(src[3]));
  dst[0] = static_cast<unsigned char>((d0 << 2) | ((d1 & 0x30) >> 4));
  dst[1] = static_cast<unsigned char>((d1 << 4) | ((d2 & 0x3C) >> 2));
  dst[2] = static_cast<unsigned char>((d2 << 6) | (d3 & 0x3F));
  if (src[2] == '=') return 1;
  return src[3] == '=' ? 2 : 3;
}

char* Encode64(const void* buffer, int len) {
  const auto size = static_cast<std::size_t>(buffer != nullptr && len > 0 ? len : 0);
  auto* encoded = static_cast<char*>(vorne::TryAllocate(size + size / 3 + 32));
  if (encoded == nullptr) return nullptr;
  const auto* bytes = static_cast<const unsigned char*>(buffer);
  char* end = encoded;
  std::size_t at = 0;
  for (; size - at >= 3; at += 3, end += 4) EncodeBase64Bytes(bytes + at, end, 3);
  if (at < size) {
    // Bytes that are not there count as 0, so that a text's code never depends on what follows it in memory.
    unsigned char group[3] = {};
    std::memcpy(group, bytes + at, size - at);
    EncodeBase64Bytes(group, end, static_cast<int>(size - at));
  }
  return encoded;
}

void FreeEncode64(char* text) {
  vorne::Release(text);
}

void Decode64(const char* text, void* out, int* count) {
  const std::size_t size = std::strlen(text);
  auto* bytes = static_cast<unsigned char*>(out);
  int decoded = 0;
  std::size_t at = 0;
  for (; size - at >= 4; at += 4) decoded += DecodeBase64Bytes(text + at, bytes + decoded);
  if (at < size) {
    char rest[4] = {};  // the characters that are missing are zero bytes, which no alphabet holds
    std::memcpy(rest, text + at, size - at);
    decoded += DecodeBase64Bytes(rest, bytes + decoded);
  }
  bytes[decoded] = 0;
  *count = decoded;
}
