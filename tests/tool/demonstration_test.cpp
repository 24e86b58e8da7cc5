// The demonstration sale with the finished library, the simulated devices and the finished tool.
#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "run_tool.h"

using testing::HasSubstr;
using testing::Not;

class Demonstration : public ToolTest {
 protected:
  void SetUp() override {
    ToolTest::SetUp();
    for (const char* name : {"libconvecf.so", "libclisitef.so"}) {
      std::filesystem::copy_file(std::filesystem::path(DEVICES) / name, directory / name);
    }
  }
};

TEST_F(Demonstration, SellsAgainAndAgain) {
  for (int round = 1; round <= 2; ++round) {
    const Ran ran = run({"sale", "--tape", "page.html", "--json", DEMONSTRATION});
    ASSERT_EQ(ran.status, 0) << ran.err;
    const auto sale = nlohmann::json::parse(ran.out);
    EXPECT_EQ(sale["done"], true);
    std::string paper;
    for (const auto& step : sale["steps"]) {
      for (const auto& line : step["paper"]) paper += line.get<std::string>() + "\n";
    }
    for (const char* printed : {"Pão de queijo congelado", "DESCONTO ITEM 001", "CANCELAMENTO ITEM 004", "SUBTOTAL",
                                "TROCO", "VIA DO CLIENTE", "VIA DO ESTABELECIMENTO", "400000******0010", "LEITURA X"}) {
      EXPECT_THAT(paper, HasSubstr(printed)) << round;
      EXPECT_THAT(contents(directory / "page.html"), HasSubstr(printed)) << round;
    }
    EXPECT_THAT(ran.out + contents(directory / "page.html"), Not(HasSubstr("4000000000000010")));
  }
}

TEST_F(Demonstration, GoesOnAfterASaleThatWasCutShort) {
  const std::string script = contents(DEMONSTRATION);
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
