// The codec against published vectors and against a second, bit-by-bit implementation.
#include <numeric>

#include "builtins/vornefun.h"
#include "support/runtime_fixture.h"

namespace {

constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// Six bits a character, taken from the bytes one bit at a time.
std::string bitByBit(std::string_view data) {
  std::string encoded;
  for (std::size_t bit = 0; bit < data.size() * 8; bit += 6) {
    unsigned value = 0;
    for (std::size_t i = bit; i < bit + 6; ++i) {
      const bool set = i / 8 < data.size() && (static_cast<unsigned char>(data[i / 8]) >> (7 - i % 8) & 1) != 0;
      value = value * 2 + (set ? 1 : 0);
    }
    encoded += kAlphabet[value];
  }
  encoded.resize((encoded.size() + 3) / 4 * 4, '=');
  return encoded;
}

std::string encode(std::string_view data) {
  char* encoded = Encode64(data.data(), static_cast<int>(data.size()));
  std::string result(encoded);
  FreeEncode64(encoded);
  return result;
}

std::string decode(const std::string& encoded) {
  std::string out(static_cast<std::size_t>(Decode64Size(static_cast<int>(encoded.size()))), '#');
  int count = -1;
  Decode64(encoded.c_str(), out.data(), &count);
  EXPECT_EQ(out.at(static_cast<std::size_t>(count)), '\0');
  out.resize(static_cast<std::size_t>(count));
  return out;
}

TEST(Base64, PublishedVectors) {
  const char* vectors[][2] = {{"", ""},
                              {"f", "Zg=="},
                              {"fo", "Zm8="},
                              {"foo", "Zm9v"},
                              {"foob", "Zm9vYg=="},
                              {"fooba", "Zm9vYmE="},
                              {"foobar", "Zm9vYmFy"}};
  for (const auto& [plain, encoded] : vectors) {
    EXPECT_EQ(encode(plain), encoded);
    EXPECT_EQ(decode(encoded), plain);
  }
  FreeEncode64(nullptr);
  EXPECT_EQ(encode(std::string_view(nullptr, 0)), "");
}

TEST(Base64, EveryByteAtEveryLengthBothWays) {
  std::string all(256, '\0');
  std::iota(all.begin(), all.end(), '\0');
  for (std::size_t length = 0; length <= 64; ++length) {
    for (std::size_t from = 0; from + length <= all.size(); from += 16) {
      const std::string data = all.substr(from, length);
      ASSERT_EQ(encode(data), bitByBit(data));
      ASSERT_EQ(decode(encode(data)), data);
    }
  }
  EXPECT_EQ(encode(all), bitByBit(all));
  EXPECT_EQ(decode(encode(all)), all);
}

TEST(Base64, CharactersOutsideTheAlphabetAreTaken) {
  for (int c = 0; c < 256; ++c) {
    const std::size_t place = kAlphabet.find(static_cast<char>(c));
    EXPECT_EQ(FindBase64Val(static_cast<char>(c)), place == std::string_view::npos ? 255 : static_cast<int>(place));
  }
  EXPECT_EQ(decode("A"), "\x03\xFF\xFF");  // what is missing counts as 255
  EXPECT_EQ(decode("QQ"), "A\x0F\xFF");
  EXPECT_EQ(decode("QUI"), "AB\x3F");
  EXPECT_EQ(decode("===="), "\xFF");
  EXPECT_EQ(decode("QQA=QQA="), std::string("A\0A\0", 4));
  EXPECT_EQ(decode("\xC1\xE9??"), "\xFF\xFF\xFF");
}

TEST(Base64, TheAlphabetCanBeExchanged) {
  const char* const standard = m_szBase64Table;
  std::string reversed(kAlphabet.rbegin(), kAlphabet.rend());
  m_szBase64Table = reversed.c_str();
  const std::string encoded = encode("Man");
  EXPECT_EQ(encoded, "sp6R");
  EXPECT_EQ(decode(encoded), "Man");
  EXPECT_EQ(FindBase64Val('\0'), 255);
  m_szBase64Table = standard;
  EXPECT_EQ(encode("Man"), "TWFu");
}

}  // namespace
