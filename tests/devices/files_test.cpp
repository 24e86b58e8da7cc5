// The files behind the devices: damage, several processes, full or blocked disks, names that the host chooses.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "device.h"

namespace {

constexpr char kPrinter[] = "libconvecf.so";

/// Runs `body` in a process of its own; its status is 0 unless it fails.
template <class Body>
pid_t inProcess(Body body) {
  const pid_t child = fork();
  if (child == 0) _exit(body());
  return child;
}

int statusOf(pid_t child) {
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

TEST(Files, StateLivesOnFromProcessToProcess) {
  Device printer(kPrinter);
  const char* const steps[][2] = {{"ECF_AbrePortaSerial", nullptr}, {"ECF_AbreCupom", ""}};
  for (const auto& [function, text] : steps) {
    const std::vector<std::string> texts =
        text == nullptr ? std::vector<std::string>{} : std::vector<std::string>{text};
    EXPECT_EQ(0, statusOf(inProcess([&] { return printer.callTexts(function, texts) == 1 ? 0 : 1; }))) << function;
  }
  printer.run("ECF_VendeItem 1|Pao|II|I|1|2|10,00|$| -> 1");
  EXPECT_EQ("000001", printer.read("ECF_NumeroCupom"));
}

TEST(Files, ProcessesTakeTurns) {
  constexpr int kProcesses = 4;
  constexpr int kCalls = 15;
  const Environment now("TELLIRA_SIM_NOW", kSunday);
  Device printer(kPrinter);
  printer.run("ECF_AbrePortaSerial -> 1");
  std::vector<pid_t> children;
  for (int i = 0; i < kProcesses; ++i) {
    children.push_back(inProcess([&] {
      for (int n = 0; n < kCalls; ++n) {
        if (printer.callTexts("ECF_Suprimento", {"1,00", ""}) != 1) return 1;
      }
      return 0;
    }));
  }
  for (const pid_t child : children) EXPECT_EQ(0, statusOf(child));
  EXPECT_EQ("00000000006000", printer.read("ECF_ValorTotalizadorNaoFiscal", 2, "Suprimento"));
  EXPECT_EQ("000060", printer.read("ECF_NumeroCupom"));
}

TEST(Files, DamagedStateIsRefusedAndKept) {
  Device printer(kPrinter);
  printer.run("ECF_AbrePortaSerial -> 1\nECF_AbreCupom  -> 1");
  const std::string good = printer.file("ecf-state.txt");
  std::vector<std::string> bad = {"",          "x",        std::string(100, '\0'),
                                  good + good, good + " ", std::string(5 << 20, 'a') + good};
  for (std::size_t at = 0; at < good.size(); at += 61) {
    bad.push_back(good.substr(0, at));
    bad.push_back(good);
    bad.back()[at] = static_cast<char>(bad.back()[at] ^ 1);
  }
  for (const std::string& content : bad) {
    writeFile(printer.path("ecf-state.txt"), content);
    const int result = printer.callTexts("ECF_LeituraX", {});
    EXPECT_TRUE(result == -4 || (result == -1 && content.size() > (4 << 20))) << result;
    ASSERT_EQ(content.size(), std::filesystem::file_size(printer.path("ecf-state.txt")));
  }
  writeFile(printer.path("ecf-state.txt"), good);
  printer.run("ECF_CancelaCupom -> 1");
}

TEST(Files, DamagedTerminalStateIsRefused) {
  Device terminal("libclisitef.so");
  writeFile(terminal.path("tef-state.txt"), "outra coisa\n");
  EXPECT_EQ(-4, terminal.call("ConfiguraIntSiTefInterativo", "host", "00000000", "CAIXA001", 0));
  EXPECT_EQ("outra coisa\n", terminal.file("tef-state.txt"));
}

TEST(Files, WithoutPaperNothingIsSold) {
  Device printer(kPrinter);
  printer.run("ECF_AbrePortaSerial -> 1");
  std::filesystem::create_directory(printer.path("ecf-tape.txt"));
  printer.run("ECF_AbreCupom  -> -1");
  std::filesystem::remove(printer.path("ecf-tape.txt"));
  EXPECT_EQ("000000", printer.read("ECF_NumeroCupom"));
}

TEST(Files, WithoutStateThePaperIsTakenBack) {
  Device printer(kPrinter);
  printer.run("ECF_AbrePortaSerial -> 1\nECF_LeituraX -> 1");
  const std::string paper = printer.file("ecf-tape.txt");
  std::filesystem::create_directory(printer.path("ecf-state.txt.new"));
  printer.run("ECF_LeituraX -> -1");
  EXPECT_EQ(paper, printer.file("ecf-tape.txt"));
}

TEST(Files, DownloadsOnlyIntoPlainNamesBesideTheLibrary) {
  const Environment now("TELLIRA_SIM_NOW", kSunday);
  Device printer(kPrinter);
  printer.run(R"(
    ECF_AbrePortaSerial -> 1
    ECF_Suprimento 3,00| -> 1
    ECF_ReducaoZ | -> 1
    ECF_DownloadMF mf.txt -> 1
    ECF_DownloadMFD mfd.txt|1|15/03/26|150326| -> 1
    ECF_FormatoDadosMFD mfd.txt|mfd.csv|1|0||| -> 1
    ECF_LeituraMemoriaFiscalSerialReducao 1|1 -> 1)");
  EXPECT_THAT(printer.file("mf.txt"), testing::HasSubstr("CRZ 0001 15/03/2026"));
  EXPECT_THAT(printer.file("mfd.txt"), testing::HasSubstr("000001 CX  15/03/2026 14:25:30 00000000000300 N"));
  EXPECT_THAT(printer.file("mfd.csv"), testing::HasSubstr("000001;CX;15/03/2026;14:25:30;00000000000300;N;"));
  EXPECT_THAT(printer.file("ecf-memoria.txt"), testing::HasSubstr("REDUCOES: 1"));
  for (const char* name : {"", ".", "..", "../fora.txt", "/fora.txt", "a/b", ".oculto", "ecf-state.txt", "ecf-tape.txt",
                           "ecf.lock", "libconvecf.so", "a\nb", "ecf-state.txt.new"}) {
    EXPECT_EQ(-2, printer.callTexts("ECF_DownloadMF", {name})) << name;
  }
  EXPECT_EQ(-2, printer.callTexts("ECF_DownloadMF", {std::string(65, 'a')}));
}

}  // namespace
