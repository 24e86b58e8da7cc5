// The ways in which a call ends the process, each in a child.
#include <csignal>

#include <fstream>

#include "host.h"
#include "runtime/vorneobjs.h"
#include "support/child.h"

namespace {

using CallEndingsTest = HostTest;

void useFaulty() {
  std::filesystem::create_symlink(std::string(FAULTY_DIR) + "/libconvecf.so", "libconvecf.so");
}

TEST_F(CallEndingsTest, EachFailureSaysItsWords) {
  useFaulty();
  std::ofstream("bemafi32.so") << "this is no library";
  const struct {
    const char* what;
    std::string params;
    int status;
    std::string output;
  } cases[] = {
      {"library not there", base64(raw("VerificaPresencaPinPad^")), 0,
       "\nDLL ./libclisitef.so n\xE3o encontrada\nRunTimeError = 133"},
      {"library not loadable", base64(raw("Bematech_FI_LeituraX^")), 0,
       "\nDLL ./bemafi32.so n\xE3o encontrada\nRunTimeError = 133"},
      {"function not there", base64(raw("ECF_LeituraXSerial^")), 0,
       "\nFunction <ECF_LeituraXSerial> not found in DLL <./libconvecf.so>!\nRunTimeError = 134"},
      {"the message names the vendor's spelling", base64(raw("enviarecebesitefdireto|1|1|1|s|1|s|1|1|1|s|s|s|s|1^")), 0,
       "\nDLL ./libclisitef.so n\xE3o encontrada\nRunTimeError = 133"},
      {"unknown command", base64(raw(" ecf_leitur^")), 1,
       "Library TELLIRA\nFunction not found in TELLIRA.DLL/SO -> ECF_LEITUR\n<Enter>"},
      {"no name at all", base64(raw("^")), 1, "Library TELLIRA\nFunction not found in TELLIRA.DLL/SO -> \n<Enter>"},
      {"empty parameters", "", 0, "\nRunTimeError = -1"},
      {"missing field", base64(raw("ECF_VendeItem|1^")), 0, "\nRunTimeError = -1"},
      {"more fields than an array holds", base64(raw("ECF_LeituraX" + std::string(40000, '|'))), 0,
       "\nRunTimeError = -1"},
      {"an exception from the vendor", base64(raw("ECF_LeituraX^")), 0, "\nSAIU PELO CATCH....."},
  };
  for (const auto& c : cases) {
    const ChildResult result = runChild([&] { call(c.params); });
    EXPECT_EQ(result.status, c.status) << c.what;
    EXPECT_EQ(result.output, c.output) << c.what;
  }
}

TEST_F(CallEndingsTest, AVeryLongUnknownNameIsPrintedWhole) {
  const std::string name(20000, 'Z');
  const ChildResult result = runChild([&] { callRaw(name + "\2"); });
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.output.find("-> " + name + "\n<Enter>"), std::string::npos);
}

TEST_F(CallEndingsTest, AVendorThatWritesTooMuchIsBorneOrStopped) {
  useFaulty();
  const HostAnswer answer = callRaw("ECF_NumeroCupom\1      \2");
  EXPECT_EQ(answer.text.substr(0, 8), base64(raw("1|7777")));
  EXPECT_GT(answer.text.size(), 40000U);
  // Beyond all bounds the process stops at the guard page instead of going on with damaged memory.
  const ChildResult result = runChild([] {
    std::signal(SIGSEGV, SIG_DFL);
    callRaw("ECF_SubTotal\1      \2");
  });
  EXPECT_EQ(result.status, 1000 + SIGSEGV);
}

TEST_F(CallEndingsTest, EveryFailingAllocationEndsAsOutOfMemory) {
  useMocks();
  plan(1, {{4, {0, "ok\0"s}}});
  const std::string params[] = {
      base64(raw("ContinuaFuncaoSiTefInterativo|0|0|0|0|data||0^")),
      base64(raw("ECF_RetornaPortaVelocidade|          |      ^")),
      base64(raw("ECF_RetornoImpressoraMFD| ABC ^")),
  };
  for (const std::string& p : params) {
    const std::string expected = call(p).text;
    long allowed = 0;
    for (; allowed < 1000; ++allowed) {
      const ChildResult result = runChild([&] {
        vorne::allocationsLeft = allowed;
        if (call(p).text == expected) _exit(kCameBack);
      });
      if (result.status == kCameBack) break;
      ASSERT_EQ(result.status, 0) << "with " << allowed << " allocations";
      ASSERT_EQ(result.output, "\nRunTimeError = -1") << "with " << allowed << " allocations";
    }
    EXPECT_GT(allowed, 20);
    EXPECT_LT(allowed, 1000);
  }
}

TEST_F(CallEndingsTest, TheWholeCallWorksInASmallRing) {
  useMocks();
  const ChildResult result = runChild([] {
    __SetMaxStackElements(16);
    const std::string fields(200, '\1');
    if (callRaw("ECF_LeituraX" + fields + "\2").text != base64("1000\0"s)) _exit(1);
    if (callRaw(raw("EnviaRecebeSitefDireto|1|2|3|s|4|s|5|6|7|s|s|s|s|8^")).returned != 1) _exit(2);
  });
  EXPECT_EQ(result.status, kCameBack) << result.output;
}

}  // namespace
