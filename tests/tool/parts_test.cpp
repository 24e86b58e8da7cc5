// The tool's small parts, by tables of cases.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "edge/masking.h"
#include "edge/progress.h"
#include "library/base64.h"
#include "library/commands.h"
#include "library/parameter.h"
#include "run_tool.h"
#include "text/text.h"

using namespace tool;
using testing::ElementsAre;
using testing::EndsWith;
using testing::StartsWith;

TEST(Masking, KeepsFirstSixAndLastFourOfCardNumbersOnly) {
  const std::pair<const char*, const char*> cases[] = {
      {"4000000000000010", "400000******0010"},
      {"x4000000000000010y", "x400000******0010y"},
      {"4000 0000 0000 0010", "4000 00** **** 0010"},
      {"4000-0000-0000-0010", "4000-00**-****-0010"},
      {"378282246310005", "378282*****0005"},
      {"3782 822463 10005", "3782 82**** *0005"},
      {"30569309025904", "305693****5904"},
      {"4222222222222", "422222***2222"},
      {"6304000000000000000", "630400*********0000"},
      // The number in the company of other digits.
      {"12 4000 0000 0000 0010", "12 4000 00** **** 0010"},
      {"4000 0000 0000 0010 1230", "4000 00** **** 0010 1230"},
      {"4000 0000 0000 0010 123", "4000 00** **** 0010 123"},
      {"4000000000000010 1230", "400000******0010 1230"},
      {"4000000000000010;5000000000000009", "400000******0010;500000******0009"}};
  for (const auto& [text, masked] : cases) EXPECT_EQ(maskCards(text), masked);
  for (const char* other :
       {"4000000000000011", "7891000100103", "4006381333931", "11222333000181", "34028316000103", "20260315142530",
        "1000000000000008", "00004000000000000010000", "", "23790504004188802302923011111111111000000000000"}) {
    EXPECT_EQ(maskCards(other), other) << "no card number";
  }
}

TEST(Text, ConvertsTheWholeAlphabetBothWays) {
  std::string all;
  for (int byte = 0; byte < 256; ++byte) all += static_cast<char>(byte);
  EXPECT_EQ(latin1FromUtf8(utf8FromLatin1(all)), all);
  EXPECT_EQ(utf8FromLatin1("n\xE3o"), "não");
  const std::pair<const char*, std::size_t> refused[] = {
      {"ab\xE2\x82\xAC", 2},   {"a\xE3", 1},        {"\xC0\x80", 0},        {"\x80", 0}, {"ok\xC3", 2},
      {"\xF5\x80\x80\x80", 0}, {"\xE0\x82\xA9", 0}, {"\xF0\x80\x82\xA9", 0}};
  for (const auto& [text, offset] : refused) {
    try {
      latin1FromUtf8(text);
      ADD_FAILURE() << "accepted " << text;
    } catch (const ConversionError& error) {
      EXPECT_EQ(error.offset, offset) << text;
    }
  }
}

TEST(Progress, SaysOnATerminalThatItGoesOn) {
  const std::string text = onTerminal([] {
    const Working working("packing " + std::string(90, 'x'));
    usleep(1300000);
  });
  // No wider than the terminal, without escape sequences, and gone in the end.
  const std::string line = "\r1 s, packing " + std::string(65, 'x') + "…\r";
  EXPECT_THAT(text, AllOf(StartsWith(line), EndsWith("…\r" + std::string(79, ' ') + "\r 0")));
}

TEST(Text, MatchesGlobs) {
  EXPECT_TRUE(matchesGlob("ecf_*mfd", "ECF_AbreCupomMFD"));
  EXPECT_TRUE(matchesGlob("*a*b*", "xaxbx"));
  EXPECT_FALSE(matchesGlob("ECF_?", "ECF_"));
  EXPECT_FALSE(matchesGlob("a*b", "abc"));
  EXPECT_FALSE(matchesGlob("*a*a*a*a*a*a*a*a*a*a*b", std::string(5000, 'a')));
}

TEST(Parameter, OutputIsTakenApart) {
  EXPECT_THAT(readOutput("MQEwMDEyMzQA", false).fields, ElementsAre("1", "001234"));
  EXPECT_THAT(readOutput("AQEBAA==", false).fields, ElementsAre("", "", "", ""));
  EXPECT_THAT(readOutput("MQE", false).fields, ElementsAre("1", ""));  // cut by a small buffer
  EXPECT_THAT(readOutput("1\x01\xE7", true).fields, ElementsAre("1", "ç"));
  EXPECT_FALSE(readOutput("!", false).readable);
  const Output card = readOutput(encodeBase64(std::string("1\0014000000000000010", 19)), false);
  EXPECT_THAT(card.fields, ElementsAre("1", "400000******0010"));
  EXPECT_EQ(decodeBase64(card.text), std::string("1\001400000******0010", 19));
  EXPECT_THAT(card.values, ElementsAre("1", "4000000000000010"));
}

TEST(Commands, SuggestsNearNamesAndLabelsEveryAnswer) {
  EXPECT_EQ(findCommand("ECF_LeituraY"), nullptr);
  EXPECT_EQ(nearestCommands("ecf_leitura_x").front(), "ECF_LeituraX");
  EXPECT_TRUE(nearestCommands(std::string(5000, 'Q')).empty());
  EXPECT_THAT(answerLabels(*findCommand("Bematech_FI_NumeroCupom")), ElementsAre("result", "text"));
  EXPECT_THAT(answerLabels(*findCommand("ECF_RetornoImpressoraMFD")), ElementsAre("result", "field 2"));
  EXPECT_THAT(answerLabels(*findCommand("FinalizaTransacaoSiTefInterativo")),
              ElementsAre("field 3", "field 4", "field 5"));
  EXPECT_EQ(answerLabels(*findCommand("EnviaRecebeSitefDireto")).size(), 15U);
}
