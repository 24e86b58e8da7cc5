// The message tables in their three languages.
#include "runtime/messages.h"

#include <map>
#include <set>

#include "values.h"

namespace {

using namespace vorne;

/// The conversions of a format, one letter each.
std::string conversions(const std::string& format) {
  std::string found;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%') continue;
    i = format.find_first_not_of("0123456789.-+ #l", i + 1);
    found += i < format.size() ? format[i] : '?';
  }
  return found;
}

TEST(MessageTables, EveryRowTakesTheSameArguments) {
  EXPECT_EQ(kMessageCount, 141);
  std::map<int, std::string> known = {{66, "dd"}, {76, "d"},  {98, "d"},  {101, "sd"}, {105, "ss"},
                                      {106, "s"}, {107, "s"}, {108, "s"}, {109, "s"},  {123, "ddds"},
                                      {124, "s"}, {129, "d"}, {137, "s"}};
  const std::set<int> notTranslated = {88, 89, 93, 95, 98, 119, 126};  // nor are the rows before 75
  for (int row = 0; row < kMessageCount; ++row) {
    const std::string texts[] = {MessageText(row, 1), MessageText(row, 2), MessageText(row, 3)};
    for (const std::string& text : texts) {
      EXPECT_EQ(conversions(text), known[row]) << "row " << row << " " << text;
      EXPECT_TRUE(!text.empty() && text.size() < 120) << text;
      for (std::size_t i = 1; i < text.size(); ++i)  // one byte a letter, never a pair
        EXPECT_FALSE((text[i - 1] == '\xC2' || text[i - 1] == '\xC3') && (text[i] & 0xC0) == 0x80) << "row " << row;
    }
    EXPECT_EQ(texts[0] == texts[1], row < 75 || notTranslated.count(row) != 0) << "row " << row;
  }
}

class Messages : public RuntimeTest {};

TEST_F(Messages, AuxiliaryTextsAreNumberedAndInTheLanguage) {
  EXPECT_STREQ(__GetAuxError(66), "Msg(66)-ERROR_BUFFER_TOO_SMALL \n(%d e %d)");
  for (int outside : {141, -1, INT32_MAX, INT32_MIN})
    EXPECT_EQ(std::string(__GetAuxError(outside)), "Msg(" + std::to_string(outside) + ")-");
  const double cases[][2] = {{2, 2}, {0, 0}, {3, 3}, {-5, -5}, {4, 1}, {2.7, 2}, {3.5, 1}};  // given, kept
  for (const auto& c : cases) {
    EXPECT_EQ(describe(__SetErrorLang(number(c[0]))), "T");
    EXPECT_EQ(iSyncLang, c[1]) << c[0];
    EXPECT_EQ(std::string(__GetAuxError(104)).substr(9), MessageText(104, iSyncLang));
  }
  expectAll(__SetErrorLang, "'2' error  1 T");
}

TEST_F(Messages, ErrorTexts) {
  char buffer[2048];
  const std::map<int, const char*> texts = {{-1, ""}, {0, "ARGUMENT ERROR!"}, {15, "STACK FULL!"}, {16, ""}};
  for (const auto& [code, expected] : texts) {
    GetError(buffer, code);
    EXPECT_STREQ(buffer, expected) << code;
  }
  __GetAuxError(133);  // told once
  for (const char* expected : {"STACK FULL!\nMsg(133)-DLL n\xE3o encontrada.", "STACK FULL!"}) {
    GetError(buffer, 15);
    EXPECT_STREQ(buffer, expected);
  }
  __GetAuxError(1);
  __EndGlobal();
  __BeginGlobal();  // a new run has no message yet
  GetError(buffer, 0);
  EXPECT_STREQ(buffer, "ARGUMENT ERROR!");
}

}  // namespace
