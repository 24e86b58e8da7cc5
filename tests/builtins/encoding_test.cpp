// The codec, texts on their way across the host boundary, and the buffers that vendors write into.
#include <algorithm>
#include <numeric>

#include "builtins/vornefun.h"
#include "support/base64.h"
#include "support/runtime_fixture.h"
#include "table.h"

namespace {

using namespace std::string_view_literals;

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

TEST(Base64, EveryByteAtEveryLengthBothWays) {
  std::string all(256, '\0');
  std::iota(all.begin(), all.end(), '\0');
  for (std::size_t length = 0; length <= 64; ++length) {
    for (std::size_t from = 0; from + length <= all.size(); from += 16) {
      const std::string data = all.substr(from, length);
      ASSERT_EQ(encode(data), base64(data));
      ASSERT_EQ(decode(encode(data)), data);
    }
  }
  EXPECT_EQ(encode(std::string_view(nullptr, 0)), "");
  char group[5] = "";
  for (const auto& [count, characters] : {std::pair(1, "Tf=="), std::pair(2, "Tf/="), std::pair(3, "Tf//")}) {
    EncodeBase64Bytes(reinterpret_cast<const unsigned char*>("M\xFF\xFF"), group, count);  // reads all three bytes
    EXPECT_STREQ(group, characters);
  }
}

TEST(Base64, CharactersOutsideTheAlphabetAreTaken) {
  for (int c = 0; c < 256; ++c) {
    const std::size_t place = std::min(kBase64.find(static_cast<char>(c)), std::size_t{255});
    EXPECT_EQ(FindBase64Val(static_cast<char>(c)), static_cast<int>(place));
  }
  // What is missing at the end counts as 255, too.
  const std::string_view rows[][2] = TABLE({"A", "\x03\xFF\xFF"}, {"QQ", "A\x0F\xFF"}, {"QUI", "AB\x3F"},
                                           {"====", "\xFF"}, {"QQA=QQA=", "A\0A\0"sv}, {"\xC1\xE9??", "\xFF\xFF\xFF"});
  for (const auto& [encoded, plain] : rows) EXPECT_EQ(decode(std::string(encoded)), plain) << encoded;
}

TEST(Base64, TheAlphabetCanBeExchanged) {
  const char* const standard = m_szBase64Table;
  std::string reversed(kBase64.rbegin(), kBase64.rend());
  m_szBase64Table = reversed.c_str();
  EXPECT_EQ(encode("Man"), "sp6R");
  EXPECT_EQ(decode("sp6R"), "Man");
  EXPECT_EQ(FindBase64Val('\0'), 255);
  m_szBase64Table = standard;
  EXPECT_EQ(encode("Man"), "TWFu");
}

class Boundary : public RuntimeTest {};

TEST_F(Boundary, EncodedTextsCoverTheirTerminator) {
  EXPECT_EQ(bytes(__DoEncode(text(""))), "AA==");
  EXPECT_EQ(bytes(__DoEncode(text("\xE9\0\xFF"sv))), "6QD/AA==");
  EXPECT_EQ(bytes(__DoDecode(text("QQA="))), "A\0"sv);
  EXPECT_EQ(bytes(__DoDecode(text("QQ=="))), "A");
  EXPECT_EQ(__DoDecode(text("QQ=="))->objData.mbuff[2], '\0');  // no bits of the padding stay behind
  EXPECT_EQ(__DoDecode(text("")), __INIT_NIL());
}

TEST_F(Boundary, ADecodedTextBelongsToItsSourcesContext) {
  __begin_context();
  Obj_Node* variable = __SET_OBJECT(nullptr, text("QQA="));
  EXPECT_EQ(__DoDecode(variable)->objContext, variable->objContext);
  EXPECT_EQ(__DoDecode(__SET_OBJECT(nullptr, text("")))->objContext, -1);  // the shared NIL stays as it is
  __end_context(nullptr);
}

TEST_F(Boundary, WithoutEncodingTextsAreCopied) {
  SetEncode(0);
  for (auto* copy : {&__DoEncode, &__DoDecode}) {
    SetCheckBuffer(0);
    EXPECT_EQ(bytes(copy(text("a\0b"sv))), "a");
    SetCheckBuffer(1);
    EXPECT_EQ(bytes(copy(text("a\0b"sv))), "a\0b"sv);
  }
}

TEST_F(Boundary, RawBuffers) {
  EXPECT_EQ(bytes(__SetBuffer("a\0b", 3)), "a\0b"sv);
  EXPECT_EQ(__SetBuffer("abc", 0), __INIT_NIL());
  EXPECT_EQ(__SetBuffer(nullptr, 3), __INIT_NIL());
  EXPECT_EQ(FindLastZero("\0ab", 3), 1);
  EXPECT_EQ(FindLastZero("abc", 3), 0);
  EXPECT_EQ(numberOf(__GetLastZero(text("a\0b"sv))), 4);
}

TEST_F(Boundary, TheFillBehindAnAnswerIsCut) {
  const struct {
    std::string_view before, after;
    int length;
  } rows[] = TABLE({"001234\0\0\xFF\xFF\xFF\xFF\xFF"sv, "001234\0\0\0\xFF\xFF\xFF\xFF"sv, 9}, {"ABC", "ABC", 3},
                   {"Z\xFFZ\xFF", "Z\xFFZ\0"sv, 4}, {"\xFF\xFF\xFF", "\0\xFF\xFF"sv, 1}, {"", "", 0});
  for (const auto& r : rows) {
    std::string buffer(r.before);
    int length = static_cast<int>(buffer.size());
    __SetObjLength(buffer.data(), &length);
    EXPECT_EQ(buffer, r.after);
    EXPECT_EQ(length, r.length);
  }
}

}  // namespace
