// The files behind the devices: damage, several processes, full or blocked disks, names that the host chooses.
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "device.h"

namespace {

/// Runs calls in a process of its own, so many times; its status is 0 unless they fail.
pid_t inProcess(Device& device, const std::string& script, int times) {
  const pid_t child = fork();
  if (child != 0) return child;
  while (times-- > 0) device.run(script);
  _exit(testing::Test::HasFailure() ? 1 : 0);
}

int statusOf(pid_t child) {
  int status = -1;
  waitpid(child, &status, 0);
  return status;
}

/// What one process does (opening the port) lives on in the next, and none loses what another did.
TEST(Files, ProcessesTakeTurns) {
  const Environment now("TELLIRA_SIM_NOW", kSunday);
  Device printer;
  EXPECT_EQ(0, statusOf(inProcess(printer, "ECF_AbrePortaSerial -> 1", 1)));
  std::vector<pid_t> children;
  for (int i = 0; i < 4; ++i) children.push_back(inProcess(printer, "ECF_Suprimento 1,00| -> 1", 15));
  for (const pid_t child : children) EXPECT_EQ(0, statusOf(child));
  EXPECT_EQ("00000000006000", printer.read("ECF_ValorTotalizadorNaoFiscal", 2, "Suprimento"));
  EXPECT_EQ("000060", printer.read("ECF_NumeroCupom"));
}

TEST(Files, DamagedStateIsRefusedAndKept) {
  Device printer;
  printer.run("ECF_AbrePortaSerial -> 1; ECF_AbreCupom  -> 1");
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
    const int result = printer.callTexts("ECF_LeituraX");
    EXPECT_TRUE(result == -4 || (result == -1 && content.size() > (4 << 20))) << result;
    ASSERT_EQ(content.size(), std::filesystem::file_size(printer.path("ecf-state.txt")));
  }
  writeFile(printer.path("ecf-state.txt"), good);
  printer.run("ECF_CancelaCupom -> 1");
  Device terminal("libclisitef.so");
  writeFile(terminal.path("tef-state.txt"), "outra coisa\n");
  EXPECT_EQ(-4, terminal.call("ConfiguraIntSiTefInterativo", "host", "00000000", "CAIXA001", 0));
  EXPECT_EQ("outra coisa\n", terminal.file("tef-state.txt"));
}

TEST(Files, WithoutPaperOrStateNothingIsSold) {
  Device printer;
  printer.run("ECF_AbrePortaSerial -> 1");
  std::filesystem::create_directory(printer.path("ecf-tape.txt"));
  printer.run("ECF_AbreCupom  -> -1");
  std::filesystem::remove(printer.path("ecf-tape.txt"));
  EXPECT_EQ("000000", printer.read("ECF_NumeroCupom"));
  printer.run("ECF_LeituraX -> 1");
  const std::string paper = printer.file("ecf-tape.txt");
  std::filesystem::create_directory(printer.path("ecf-state.txt.new"));
  printer.run("ECF_LeituraX -> -1");
  EXPECT_EQ(paper, printer.file("ecf-tape.txt"));
}

TEST(Files, DownloadsOnlyIntoPlainNamesBesideTheLibrary) {
  const Environment now("TELLIRA_SIM_NOW", kSunday);
  Device printer;
  printer.run(R"(
    ECF_AbrePortaSerial -> 1; ECF_Suprimento 3,00| -> 1; ECF_ReducaoZ | -> 1
    ECF_DownloadMF mf.txt -> 1; ECF_DownloadMFD mfd.txt|1|15/03/26|150326| -> 1
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
