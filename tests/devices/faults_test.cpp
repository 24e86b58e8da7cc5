// Devices that fail on purpose.
#include <gmock/gmock.h>

#include <chrono>

#include "device.h"

namespace {

TEST(Faults, AFaultyVariantLacksOneFunction) {
  const std::pair<const char*, const char*> missing[] = {{"libconvecf.so", "ECF_LeituraXSerial"},
                                                         {"bemafi32.so", "Bematech_FI_LeituraX"},
                                                         {"libclisitef.so", "EscreveMensagemPermanentePinPad"}};
  for (const auto& [library, function] : missing) {
    EXPECT_NE(nullptr, Device(library).symbol(function)) << library;
    EXPECT_EQ(nullptr, Device(std::string("faulty/") + library).symbol(function)) << library;
  }
  Device("faulty/libconvecf.so").run("ECF_AbrePortaSerial -> 1; ECF_LeituraX -> 1");
}

TEST(Faults, AResultReplacesTheCallAndADelayComesFirst) {
  Device printer;
  const Environment delay("TELLIRA_SIM_DELAY_MS", "60:ECF_AbrePortaSerial");
  const auto start = std::chrono::steady_clock::now();
  printer.run("ECF_AbrePortaSerial -> 1");
  EXPECT_LE(std::chrono::milliseconds(60), std::chrono::steady_clock::now() - start);
  const Environment fault("TELLIRA_SIM_RESULT", "-4:ECF_AbreCupom");
  printer.run("ECF_AbreCupom  -> -4; ECF_VendeItem 1|Pao|II|I|1|2|1|$| -> -6; ECF_LeituraX -> 1");
  const Environment all("TELLIRA_SIM_RESULT", "-32768");
  printer.run("ECF_LeituraX -> -32768");
}

TEST(Faults, AnOverrunWritesPastTheTextItWasGiven) {
  Device printer;
  printer.run("ECF_AbrePortaSerial -> 1");
  const Environment fault("TELLIRA_SIM_OVERRUN", "10:ECF_NumeroCupom");
  std::string room = std::string("      ") + std::string(26, '\0');
  printer.call("ECF_NumeroCupom", room.data());
  EXPECT_EQ(std::string("000000XXXXXXXXXX") + std::string(16, '\0'), room);
  EXPECT_EQ(std::string(6, '0'), printer.read("ECF_RetornaCOO"));
}

TEST(Faults, AVariableThatCannotBeReadFailsEveryCall) {
  Device printer;
  const std::pair<const char*, std::vector<const char*>> wrong[] = {
      {"TELLIRA_SIM_DELAY_MS", {"soon", "600001", "-1"}},
      {"TELLIRA_SIM_OVERRUN", {"0", "1048577", "5 "}},
      {"TELLIRA_SIM_RESULT", {"1", "-32769", ":ECF_LeituraX"}},
      {"TELLIRA_SIM_NOW", {"20260231000000", "2026"}}};
  for (const auto& [name, values] : wrong) {
    for (const char* value : values) {
      const Environment fault(name, value);
      EXPECT_EQ(-90, printer.callTexts("ECF_AbrePortaSerial")) << name << "=" << value;
    }
  }
}

TEST(Faults, ANullPointerIsABadArgument) {
  Device printer;
  printer.run("ECF_AbrePortaSerial -> 1");
  EXPECT_EQ(-2, printer.call("ECF_NumeroCupom", static_cast<char*>(nullptr)));
  EXPECT_EQ(-2, printer.call("ECF_RetornoImpressora", nullptr, nullptr, nullptr));
}

}  // namespace
