// The demonstration sale with the finished library, the simulated devices and the finished tool.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "run_tool.h"

using testing::HasSubstr;

class Demonstration : public ToolTest {
 protected:
  void SetUp() override {
    for (const char* name : {"libconvecf.so", "libclisitef.so"}) {
      std::filesystem::copy_file(std::filesystem::path(DEVICES) / name, directory / name);
    }
  }
};

TEST_F(Demonstration, GoesOnAfterASaleThatWasCutShort) {
  const std::string script = readFile(DEMONSTRATION);
  for (const char* last : {"ECF_CancelaItemGenerico 4", "ECF_EfetuaFormaPagamento Dinheiro", "ECF_FechaComprovante"}) {
    writeFile(directory / "cut.tlr", script.substr(0, script.rfind(last)));
    EXPECT_EQ(run({"sale", "cut.tlr"}).status, 0) << last;
    EXPECT_EQ(run({"sale", DEMONSTRATION}).status, 0) << last;
  }
}

TEST_F(Demonstration, TellsADeviceThatIsNotThere) {
  const Ran ran = run({"call", "Bematech_FI_LeituraX"});
  EXPECT_EQ(ran.status, 3);
  EXPECT_THAT(ran.err, HasSubstr("| DLL ./bemafi32.so não encontrada\n"));
  EXPECT_THAT(ran.err, HasSubstr((directory / "bemafi32.so").string() + " does not exist"));
  EXPECT_EQ(run({"call", "--cmd", "997"}).out, "11\n");
}

TEST_F(Demonstration, ExplainsWhatTheSimulatedDevicesMean) {
  const Ran closed = run({"call", "--json", "ECF_LeituraX"});
  EXPECT_THAT(closed.err, HasSubstr("-3 from the simulated device: the serial port is closed; ECF_AbrePortaSerial"));
  EXPECT_EQ(nlohmann::json::parse(closed.out)["meaning"], "the serial port is closed; ECF_AbrePortaSerial opens it");
  EXPECT_THAT(run({"call", "LeSimNaoPinPad", "?"}).err, HasSubstr("-1 from the simulated device: not configured"));
  EXPECT_THAT(run({"sale", "-"}, "ECF_AbreCupom x\n").err, HasSubstr("it answered -3: the serial port is closed"));
}
