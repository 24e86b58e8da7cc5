// What travels between the host and a vendor, byte by byte.
#include "host.h"

namespace {

struct Case {
  const char* what;
  std::string_view raw;  // parameter bytes
  std::vector<MockAnswer> vendor;
  int result;
  std::string_view answer;  // decoded output bytes, without the final zero
  std::string_view record;
};

class CallPathTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    useMocks();
  }
};

TEST_F(CallPathTest, AnswersByteForByte) {
  const Case cases[] = {
      {"zero behind 0x02", "ECF_LeituraX\2\0"sv, {}, 1, "1"sv, "ECF_LeituraX()"},
      {"no zero behind 0x02", "ECF_LeituraX\2"sv, {}, 1, "1"sv, "ECF_LeituraX()"},
      {"no closing 0x02", "ECF_LeituraX"sv, {}, 1, "1"sv, "ECF_LeituraX()"},
      {"0x01 as the last byte", "ECF_LeituraX\1"sv, {}, 1, "1"sv, "ECF_LeituraX()"},
      {"bytes behind 0x02 are not looked at", "ECF_LeituraX\2junk\2"sv, {}, 1, "1"sv, "ECF_LeituraX()"},
      {"name in small letters, with blanks", " ecf_abreportaserial \2\0"sv, {}, 1, "1"sv, "ECF_AbrePortaSerial()"},
      {"text by reference",
       "ECF_NumeroCupom\1      \2\0"sv,
       {writes(0, "001234\0"sv)},
       1,
       "1\1"
       "001234"sv,
       "ECF_NumeroCupom('      ')"},
      {"the vendor writes no zero",
       "ECF_NumeroCupom\1      \2\0"sv,
       {writes(0, "001234")},
       1,
       "1\1"
       "001234"sv,
       "ECF_NumeroCupom('      ')"},
      {"what is left behind a short answer",
       "ECF_NumeroCupom\1      \2\0"sv,
       {writes(0, "123\0"sv)},
       1,
       "1\1"
       "123"sv,
       "ECF_NumeroCupom('      ')"},
      {"empty room, negative result", "ECF_NumeroCupom\1\2\0"sv, {writes(0, "")}, -4, "-4\1"sv, "ECF_NumeroCupom('')"},
      {"filled to the last byte",
       "ECF_NumeroSerie\1A\2\0"sv,
       {writes(0, "ABCDE")},
       1,
       "1\1"
       "ABCDE"sv,
       "ECF_NumeroSerie('A')"},
      {"longer than the room",
       "ECF_NumeroSerie\1A\2\0"sv,
       {writes(0, "12345678000195\0"sv)},
       1,
       "1\1"
       "12345678000195"sv,
       "ECF_NumeroSerie('A')"},
      {"nothing but 0xFF",
       "ECF_NumeroSerie\1A\2\0"sv,
       {writes(0, "\xFF\xFF\xFF\xFF\xFF")},
       1,
       "1\1"sv,
       "ECF_NumeroSerie('A')"},
      {"two texts, trimmed",
       "ECF_RetornaPortaVelocidade\1          \1      \2\0"sv,
       {writes(0, "COM1      \0"sv), writes(1, " 9600\0"sv)},
       1,
       "1\1COM1\1"
       "9600"sv,
       "ECF_RetornaPortaVelocidade('          ','      ')"},
      {"three numbers",
       "ECF_RetornoImpressora\1"
       "0\1"
       "0\1"
       "0\2\0"sv,
       {sets(0, 6), sets(1, 0), sets(2, -2)},
       1,
       "1\1"
       "6\1"
       "0\1-2"sv,
       "ECF_RetornoImpressora(&0,&0,&0)"},
      {"number fields as scripts read them",
       "ECF_ConfiguraCodigoBarrasMFD\1"
       "99999999999\1-7\1"
       "12.9\1"
       "1.234,5\1x\2"sv,
       {},
       1,
       "1"sv,
       "ECF_ConfiguraCodigoBarrasMFD(2147483647,-7,12,1234,0)"},
      {"no vendor call",
       "ECF_RetornoImpressoraMFD\1 ABC \2\0"sv,
       {},
       1,
       "0\1"
       "ABC"sv,
       ""},
      {"dialogue, empty data",
       "ContinuaFuncaoSiTefInterativo\1"
       "0\1"
       "0\1"
       "0\1"
       "0\1\1"
       "20000\1"
       "0\2\0"sv,
       {sets(0, 21), sets(1, 1), sets(2, 1), sets(3, 1), writes(4, "1:Credito;2:Debito;\0"sv)},
       10000,
       "10000\1"
       "21\1"
       "1\1"
       "1\1"
       "1\1"
       "1:Credito;2:Debito;"sv,
       "ContinuaFuncaoSiTefInterativo(&0,&0,&0,&0,'',4,0)"},
      {"dialogue, 0x03 from the vendor reaches the host",
       "ContinuaFuncaoSiTefInterativo\1"
       "21\1"
       "1\1"
       "1\1"
       "1\1"
       " 1 \1"
       "20000\1"
       "0\2\0"sv,
       {sets(0, 21), sets(1, 0), sets(2, 0), sets(3, 0), writes(4, "AB\3C\0"sv)},
       0,
       "0\1"
       "21\1"
       "0\1"
       "0\1"
       "0\1AB\3C"sv,
       "ContinuaFuncaoSiTefInterativo(&21,&1,&1,&1,'1',4,0)"},
      {"16-bit numbers wrap as the vendor's do",
       "ContinuaFuncaoSiTefInterativo\1"
       "0\1"
       "0\1"
       "70000\1"
       "0\1\1\1"
       "0\2"sv,
       {sets(2, -1), sets(3, 32767), writes(4, "\0"sv)},
       0,
       "0\1"
       "0\1"
       "0\1-1\1"
       "32767\1"sv,
       "ContinuaFuncaoSiTefInterativo(&0,&0,&4464,&0,'',4,0)"},
      {"finalisation",
       "FinalizaTransacaoSiTefInterativo\1"
       "1\1"
       "00012345\1"
       "20260315\1"
       "142530\2\0"sv,
       {writes(9, "")},
       5,
       "00012345\1"
       "20260315\1"
       "142530\1"sv,
       "FinalizaTransacaoSiTefInterativo(1,'00012345','20260315','142530')"},
      {"finalisation, all empty",
       "FinalizaTransacaoSiTefInterativo\1"
       "1\1\1\1\2\0"sv,
       {writes(9, "")},
       5,
       "\1\1\1"sv,
       "FinalizaTransacaoSiTefInterativo(1,'','','')"},
      {"an absent argument is room of its own",
       "ECF_CGC_IE\1                  \1               \2\0"sv,
       {writes(0, "12.345.678/0001-95\0"sv), writes(1, "123456789012345\0"sv)},
       1,
       "1\1"
       "12.345.678/0001-95"sv,
       "ECF_CGC_IE('                  ','')"},
      {"two digits a status byte",
       "Bematech_FI_RetornoImpressora\2\0"sv,
       {sets(0, 6), sets(1, 0), sets(2, 0)},
       1,
       "1\1"
       "060000"sv,
       "Bematech_FI_RetornoImpressora(&0,&0,&0)"},
      {"six blanks of the library's own",
       "Bematech_FI_NumeroCupom\2\0"sv,
       {writes(0, "000123\0"sv)},
       1,
       "1\1"
       "000123"sv,
       "Bematech_FI_NumeroCupom('      ')"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    resetMocks();
    plan(c.result, {sets(63, 0)});  // no such place: every other argument stays as it is
    for (const MockAnswer& answer : c.vendor) plan(c.result, {answer});
    const HostAnswer answer = callRaw(c.raw);
    EXPECT_EQ(answer.returned, 1);
    EXPECT_EQ(record(), c.record);
    EXPECT_EQ(answer.text, base64(std::string(c.answer) + '\0'));
  }
}

TEST_F(CallPathTest, EveryByteTravelsBothWays) {
  std::string all;
  for (int c = 4; c < 256; ++c) all += static_cast<char>(c);
  plan(1, {writes(0, std::string_view(all.c_str(), all.size() + 1))});
  // Trimming takes blanks at the ends only, and 0x20 stands in the middle.
  EXPECT_EQ(callRaw("ECF_NumeroSerie\1" + all + "\2").text, base64("1\1" + all + '\0'));
  EXPECT_EQ(record(), "ECF_NumeroSerie('" + all + "')");
}

TEST_F(CallPathTest, WithoutEncodingTextsArePlainOnTheWholePath) {
  plan(1, {writes(0, "001234")});
  SetEncode(0);
  EXPECT_EQ(call("ECF_NumeroCupom\1      \2").text,
            "1\1"
            "001234");
  resetMocks();
  plan(0, {writes(4, "A\3B\0"sv)});
  EXPECT_EQ(call("ContinuaFuncaoSiTefInterativo\1"
                 "0\1"
                 "0\1"
                 "0\1"
                 "0\1x\1\1"
                 "0\2")
                .text,
            "0\1"
            "0\1"
            "0\1"
            "0\1"
            "0\1"
            "AB");
  SetEncode(1);
  resetMocks();
  plan(1, {writes(0, "001234")});
  EXPECT_EQ(call("RUNGX051bWVyb0N1cG9tASAgICAgIAIA").text, "MQEwMDEyMzQA");
}

TEST_F(CallPathTest, OutputIsCutToTheHostsBufferAndZeroed) {
  EXPECT_EQ(call("", 5, 999).text, "3.4.1");
  EXPECT_EQ(call("", 7, 999).text, "3.4.1.3");
  EXPECT_EQ(call("", 40000, 997).text, "11");
  EXPECT_EQ(call("not Base64 at all", 100, 999).text, "3.4.1.3");
  EXPECT_EQ(call("RUNGX0xlaXR1cmFYAgA=", 3).text, "MTA");
  EXPECT_EQ(call("RUNGX0xlaXR1cmFYAgA=", 0).returned, 1);
  EXPECT_EQ(ExecInClientDLL(0, const_cast<char*>("RUNGX0xlaXR1cmFYAgA="), nullptr, 100), 1);
  char untouched = 'x';
  EXPECT_EQ(ExecInClientDLL(999, nullptr, &untouched, -1), 1);
  EXPECT_EQ(untouched, 'x');
}

TEST_F(CallPathTest, LongDialogueDataNeverRunsPastItsRoom) {
  // Below, at and far above the 20000 characters that the data buffer is grown to.
  for (const std::size_t size : {14988U, 15100U, 60000U}) {
    resetMocks();
    plan(0, {writes(4, "ok\0"sv)});
    const std::string data(size, 'd');
    const HostAnswer answer = callRaw(
        "ContinuaFuncaoSiTefInterativo\1"
        "0\1"
        "0\1"
        "0\1"
        "0\1" +
        data +
        "\1\1"
        "0\2");
    EXPECT_EQ(answer.text, base64("0\1"
                                  "0\1"
                                  "0\1"
                                  "0\1"
                                  "0\1ok\0"s))
        << size;
  }
}

TEST_F(CallPathTest, ManyCallsLeaveNothingBehind) {
  const auto openFiles = [] {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator{});
  };
  const auto before = openFiles();
  for (int i = 0; i < 10000; ++i) ASSERT_EQ(callRaw("ECF_NumeroCupom\1      \2").returned, 1);
  EXPECT_EQ(openFiles(), before);
  EXPECT_EQ(S_GLOB, nullptr);
}

}  // namespace
