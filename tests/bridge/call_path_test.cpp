// What travels between the host and a vendor, byte by byte.
#include "host.h"

namespace {

struct Written {
  int argument;
  const char* bytes;  // null: the number
  int number = 0;
};

struct Case {
  const char* what;
  const char* params;  // texts in the notation of raw()
  std::vector<Written> vendor;
  int result;
  const char* answer;  // without the final zero
  const char* record;
};

class CallPathTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    useMocks();
  }
};

TEST_F(CallPathTest, AnswersByteForByte) {
  // clang-format off
  const Case cases[] = {
      {"zero behind 0x02", "ECF_LeituraX^~", {}, 1, "1", "ECF_LeituraX()"},
      {"no zero behind 0x02", "ECF_LeituraX^", {}, 1, "1", "ECF_LeituraX()"},
      {"no closing 0x02", "ECF_LeituraX", {}, 1, "1", "ECF_LeituraX()"},
      {"0x01 as the last byte", "ECF_LeituraX|", {}, 1, "1", "ECF_LeituraX()"},
      {"bytes behind 0x02 are not looked at", "ECF_LeituraX^junk^", {}, 1, "1", "ECF_LeituraX()"},
      {"name in small letters, with blanks", " ecf_abreportaserial ^~", {}, 1, "1", "ECF_AbrePortaSerial()"},
      {"text by reference", "ECF_NumeroCupom|      ^~", {{0, "001234~"}}, 1, "1|001234", "ECF_NumeroCupom('      ')"},
      {"the vendor writes no zero", "ECF_NumeroCupom|      ^~", {{0, "001234"}}, 1, "1|001234",
       "ECF_NumeroCupom('      ')"},
      {"left behind a short answer", "ECF_NumeroCupom|      ^~", {{0, "123~"}}, 1, "1|123",
       "ECF_NumeroCupom('      ')"},
      {"empty room, negative result", "ECF_NumeroCupom|^~", {{0, ""}}, -4, "-4|", "ECF_NumeroCupom('')"},
      {"filled to the last byte", "ECF_NumeroSerie|A^~", {{0, "ABCDE"}}, 1, "1|ABCDE", "ECF_NumeroSerie('A')"},
      {"longer than the room", "ECF_NumeroSerie|A^~", {{0, "12345678000195~"}}, 1, "1|12345678000195",
       "ECF_NumeroSerie('A')"},
      {"nothing but 0xFF", "ECF_NumeroSerie|A^~", {{0, "$$$$$"}}, 1, "1|", "ECF_NumeroSerie('A')"},
      {"two texts, trimmed", "ECF_RetornaPortaVelocidade|          |      ^~", {{0, "COM1      ~"}, {1, " 9600~"}}, 1, "1|COM1|9600",
       "ECF_RetornaPortaVelocidade('          ','      ')"},
      {"three numbers", "ECF_RetornoImpressora|0|0|0^~", {{0, nullptr, 6}, {1, nullptr, 0}, {2, nullptr, -2}}, 1, "1|6|0|-2",
       "ECF_RetornoImpressora(&0,&0,&0)"},
      {"number fields as scripts read them", "ECF_ConfiguraCodigoBarrasMFD|99999999999|-7|12.9|1.234,5|x^", {}, 1, "1",
       "ECF_ConfiguraCodigoBarrasMFD(2147483647,-7,12,1234,0)"},
      {"no vendor call", "ECF_RetornoImpressoraMFD| ABC ^~", {}, 1, "0|ABC", ""},
      {"dialogue, empty data", "ContinuaFuncaoSiTefInterativo|0|0|0|0||20000|0^~", {{0, nullptr, 21}, {1, nullptr, 1}, {2, nullptr, 1}, {3, nullptr, 1}, {4, "1:Credito;2:Debito;~"}}, 10000, "10000|21|1|1|1|1:Credito;2:Debito;",
       "ContinuaFuncaoSiTefInterativo(&0,&0,&0,&0,'',4,0)"},
      {"dialogue, 0x03 from the vendor reaches the host", "ContinuaFuncaoSiTefInterativo|21|1|1|1| 1 |20000|0^~", {{0, nullptr, 21}, {1, nullptr, 0}, {2, nullptr, 0}, {3, nullptr, 0}, {4, "AB#C~"}}, 0, "0|21|0|0|0|AB#C",
       "ContinuaFuncaoSiTefInterativo(&21,&1,&1,&1,'1',4,0)"},
      {"16-bit numbers wrap as the vendor's do", "ContinuaFuncaoSiTefInterativo|0|0|70000|0|||0^", {{2, nullptr, -1}, {3, nullptr, 32767}, {4, "~"}}, 0, "0|0|0|-1|32767|",
       "ContinuaFuncaoSiTefInterativo(&0,&0,&4464,&0,'',4,0)"},
      {"finalisation", "FinalizaTransacaoSiTefInterativo|1|00012345|20260315|142530^~", {}, 5, "00012345|20260315|142530|",
       "FinalizaTransacaoSiTefInterativo(1,'00012345','20260315','142530')"},
      {"finalisation, all empty", "FinalizaTransacaoSiTefInterativo|1|||^~", {}, 5, "|||",
       "FinalizaTransacaoSiTefInterativo(1,'','','')"},
      {"an absent argument is room of its own", "ECF_CGC_IE|                  |               ^~", {{0, "12.345.678/0001-95~"}, {1, "123456789012345~"}}, 1, "1|12.345.678/0001-95",
       "ECF_CGC_IE('                  ','')"},
      {"two digits a status byte", "Bematech_FI_RetornoImpressora^~", {{0, nullptr, 6}, {1, nullptr, 0}, {2, nullptr, 0}}, 1, "1|060000",
       "Bematech_FI_RetornoImpressora(&0,&0,&0)"},
      {"six blanks of the library's own", "Bematech_FI_NumeroCupom^~", {{0, "000123~"}}, 1, "1|000123",
       "Bematech_FI_NumeroCupom('      ')"},
  };
  // clang-format on
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    resetMocks();
    std::map<int, MockAnswer> answers{{63, {}}};  // no such place: every other argument stays as it is
    for (const Written& w : c.vendor) answers[w.argument] = {w.number, raw(w.bytes == nullptr ? "" : w.bytes)};
    plan(c.result, answers);
    const HostAnswer answer = callRaw(raw(c.params));
    EXPECT_EQ(answer.returned, 1);
    EXPECT_EQ(record(), c.record);
    EXPECT_EQ(answer.text, base64(raw(c.answer) + '\0'));
  }
}

TEST_F(CallPathTest, EveryByteTravelsBothWays) {
  std::string all;
  for (int c = 4; c < 256; ++c) all += static_cast<char>(c);
  plan(1, {{0, {0, all + '\0'}}});
  // Trimming takes blanks at the ends only, and 0x20 stands in the middle.
  EXPECT_EQ(callRaw("ECF_NumeroSerie\1" + all + "\2").text, base64("1\1" + all + '\0'));
  EXPECT_EQ(record(), "ECF_NumeroSerie('" + all + "')");
}

TEST_F(CallPathTest, WithoutEncodingTextsArePlainOnTheWholePath) {
  plan(1, {{0, {0, "001234"}}});
  SetEncode(0);
  EXPECT_EQ(call(raw("ECF_NumeroCupom|      ^")).text, raw("1|001234"));
  resetMocks();
  plan(0, {{4, {0, "A\3B\0"s}}});
  EXPECT_EQ(call(raw("ContinuaFuncaoSiTefInterativo|0|0|0|0|x||0^")).text, raw("0|0|0|0|0|AB"));
  SetEncode(1);
  resetMocks();
  plan(1, {{0, {0, "001234"}}});
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
    plan(0, {{4, {0, "ok\0"s}}});
    const HostAnswer answer =
        callRaw(raw("ContinuaFuncaoSiTefInterativo|0|0|0|0|") + std::string(size, 'd') + raw("||0^"));
    EXPECT_EQ(answer.text, base64(raw("0|0|0|0|0|ok~"))) << size;
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
