// What stands in frames and packets, byte for byte, and what becomes of anything else.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sync/compression.h"
#include "sync/wire.h"

namespace {

using namespace vorne;

std::string asText(std::span<const char> bytes) {
  return {bytes.begin(), bytes.end()};
}

TEST(Wire, PacketsStandAsTheFormatHasThem) {
  const std::string data = "zz";
  EXPECT_EQ(asText(MakeReceived({0, 3, 500, data})), std::string("\1\0\x0C\x0E\0\x0C\0\3\1\xF4zz", 12));
  EXPECT_EQ(asText(MakeSent({true, 500, 3, data})), std::string("\1\0\x0B\x0C\0\x0D\x0E\1\xF4\0\3zz", 13));
  EXPECT_EQ(asText(MakeControl({'T', false, 12})), std::string("T\0"
                                                               "0\0"
                                                               "000012\0",
                                                               11));
  EXPECT_EQ(asText(MakeControl({'P', true, 12345678})).substr(2), std::string("1\0"
                                                                              "999999\0",
                                                                              9));
  const auto header = RequestHeader(0x1234);
  EXPECT_EQ(std::string(header.begin(), header.end()), "B\x34\x12");

  const std::vector<char> sent = MakeSent({false, 2, 1, data});
  const auto back = ParseSent(sent);
  ASSERT_TRUE(back);
  EXPECT_FALSE(back->compressed);
  EXPECT_EQ(asText(back->data), data);
}

TEST(Wire, LengthsFromOutsideReachNothing) {
  std::string body("\1\0\x0C\x0E\0\x0C\0\3\1\xF4zz", 12);
  ASSERT_TRUE(ParseReceived(body));
  for (const auto& [at, byte] : {std::pair{5, 13}, {5, 9}, {5, 0}, {4, 0x30}, {4, 0xFF}}) {
    std::string damaged = body;
    damaged[static_cast<std::size_t>(at)] = static_cast<char>(byte);
    EXPECT_FALSE(ParseReceived(damaged)) << at << " " << byte;
  }
  for (std::size_t size = 0; size < 10; ++size) EXPECT_FALSE(ParseReceived(std::string_view(body).substr(0, size)));
  const std::vector<char> sent = MakeSent({true, 2, 1, body});
  for (std::size_t size = 0; size < sent.size(); ++size) EXPECT_FALSE(ParseSent(Bytes(sent).first(size))) << size;
}

TEST(Wire, ContentIsTakenWholeOrNotAtAll) {
  std::vector<char> content;
  const std::string one = "one!", two = "second", memo = "memo";
  ASSERT_TRUE(AppendToContent({one, {Bytes(memo)}}, content));
  ASSERT_TRUE(AppendToContent({two, {Bytes()}}, content));
  EXPECT_EQ(asText(content), std::string("\0\4one!\0\4memo\0\6second\0\0", 22));
  const auto records = ParseContent(content, 2, 1);
  ASSERT_TRUE(records);
  EXPECT_EQ(asText((*records)[0].memos[0]), memo);
  EXPECT_EQ(asText((*records)[1].record), two);
  for (const auto& [count, memos] : {std::pair{1, 1}, {3, 1}, {2, 0}, {2, 2}, {65535, 0}})
    EXPECT_FALSE(ParseContent(content, static_cast<std::size_t>(count), static_cast<std::size_t>(memos)));
  for (std::size_t size = 0; size < content.size(); ++size)
    EXPECT_FALSE(ParseContent(Bytes(content).first(size), 2, 1)) << size;
  EXPECT_FALSE(AppendToContent({std::string(65536, 'x'), {}}, content));
  EXPECT_EQ(content.size(), 22u);
}

TEST(Wire, NumbersAndNamesFromTheHost) {
  for (const auto& [text, number] : {std::pair{"12", 12},
                                     {"\x0D 7x", 7},
                                     {"+3", 3},
                                     {"-5", 0},
                                     {"", 0},
                                     {"x", 0},
                                     {"99999999999999999999999", 1000}})
    EXPECT_EQ(DecimalIn(text, 1000), static_cast<std::uint32_t>(number)) << text;
  for (const std::string& name : {std::string("a.bmp"), std::string("\xE7.bmp"), std::string(240, 'n')})
    EXPECT_TRUE(IsPlainFileName(name)) << name;
  for (const std::string& name : {std::string(), std::string("../x"), std::string("/etc/x"), std::string("a\\b"),
                                  std::string("."), std::string(".."), std::string(".hidden"), std::string("lib.so"),
                                  std::string("a\nb"), std::string("a\0b", 3), std::string(300, 'n')})
    EXPECT_FALSE(IsPlainFileName(name)) << name;
}

TEST(Wire, InflatingKeepsToItsRoom) {
  const std::string text(5000, 'a');
  const std::vector<char> stream = Deflate(text);
  std::vector<char> room(5001);
  EXPECT_EQ(Inflate(stream, std::span(room).first(5000)), 5000u);
  EXPECT_EQ(Inflate(stream, room), 5000u);
  EXPECT_EQ(Inflate(stream, std::span(room).first(4999)), 0u);
  for (std::size_t size = 0; size < stream.size(); ++size) EXPECT_EQ(Inflate(std::span(stream).first(size), room), 0u);
}

}  // namespace
