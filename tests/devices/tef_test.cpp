// The card terminal: whole dialogues told as short texts, confirmations, slips, pharmacy, pin pad.
#include <gmock/gmock.h>

#include <cstring>
#include <map>

#include "device.h"

namespace {

constexpr int kGoesOn = 10000;
constexpr std::size_t kRoom = 20001;

class TefTest : public testing::Test {
 protected:
  TefTest() { EXPECT_EQ(0, terminal.call("ConfiguraIntSiTefInterativo", "127.0.0.1", "00000000", "CAIXA001", 0)); }

  int begin(int function, const char* amount) {
    return terminal.call("IniciaFuncaoSiTefInterativo", function, amount, "000123", "20260315", "142530", "ANA", "");
  }

  /// One continuation the way hosts make it: the size of the encoded text, 0xFF behind the answer.
  int proceed(const std::string& answer, int flag = 0) {
    room.assign(kRoom, '\xFF');
    std::memcpy(room.data(), answer.c_str(), answer.size() + 1);
    return terminal.call("ContinuaFuncaoSiTefInterativo", &command, &type, &least, &most, room.data(), 4, flag);
  }

  /// Answers the questions in turn; "<" goes back, "!" cancels. Returns the questions' commands and field types and
  /// the result; what is handed out lands in `data`.
  std::string talk(const std::vector<std::string>& answers) {
    std::string told, answer;
    std::size_t next = 0;
    int flag = 0;
    for (int rounds = 0; rounds < 60; ++rounds) {
      const int result = proceed(answer, flag);
      if (result != kGoesOn) return told + "= " + std::to_string(result);
      answer.clear();
      flag = 0;
      if (command == 0) data[type] = room.data();
      if (command == 22) told += std::string(room.data()) + " ";
      if (command != 20 && command != 21 && command != 30 && command != 34) continue;
      told += std::to_string(command) + "/" + std::to_string(type) + " ";
      answer = next < answers.size() ? answers[next++] : "!";
      flag = answer == "!" ? -1 : answer == "<" ? 1 : 0;
    }
    return told + "endless";
  }

  int finish(int confirm) {
    return terminal.call("FinalizaTransacaoSiTefInterativo", confirm, "000123", "20260315", "142530");
  }

  Environment now{"TELLIRA_SIM_NOW", kSunday};
  Device terminal{"libclisitef.so"};
  std::string room;
  int command = 0, type = 0;
  short least = 0, most = 0;
  std::map<int, std::string> data;
};

constexpr char kGood[] = "4000000000000010";
constexpr char kBarred[] = "4000000000000002";

TEST_F(TefTest, EndsEveryPaymentAsTheAnswersSay) {
  const std::tuple<int, const char*, std::vector<std::string>, const char*> cases[] = {
      {0, "12,50", {"1", kGood, "1230"}, "21/1 30/512 30/513 = 0"},
      {0, "12,50", {"2", kGood, "1230", "12"}, "21/1 30/512 30/513 30/514 = 0"},
      {2, "", {"0", "12,50", kGood, "0326"}, "34/515 34/515 30/512 30/513 = 0"},
      {3, "5000,00", {"1", kGood, "1230"}, "21/1 30/512 30/513 = 0"},
      {0, "1,00", {"9", "3", "4000000000000011", kGood, "1330", "1230"}, "21/1 21/1 30/512 30/512 30/513 30/513 = 0"},
      {0, "1,00", {"1", "1", "2", "3"}, "21/1 30/512 30/512 30/512 DADO INVALIDO = -7"},
      {0, "1,00", {"2", kGood, "1230", "1", "13", "x"}, "21/1 30/512 30/513 30/514 30/514 30/514 DADO INVALIDO = -7"},
      {0, "1,00", {"1", kBarred, "1230"}, "21/1 30/512 30/513 CARTAO NAO AUTORIZADO = -5"},
      {0, "5000,01", {"1", kGood, "1230"}, "21/1 30/512 30/513 VALOR ACIMA DO LIMITE = -5"},
      {0, "1,00", {"1", kGood, "0226"}, "21/1 30/512 30/513 CARTAO VENCIDO = -5"},
      {0, "1,00", {"!"}, "21/1 = -2"},
      {0, "1,00", {"2", kGood, "1230", "!"}, "21/1 30/512 30/513 30/514 = -2"},
      {0, "1,00", {"<"}, "21/1 = -2"},
      {0, "1,00", {"2", "<", "1", kGood, "<", kGood, "1230"}, "21/1 30/512 21/1 30/512 30/513 30/512 30/513 = 0"},
  };
  for (const auto& [function, amount, answers, told] : cases) {
    ASSERT_EQ(kGoesOn, begin(function, amount));
    EXPECT_EQ(told, talk(answers));
    EXPECT_EQ(-6, proceed(""));  // the dialogue is over
    EXPECT_EQ(std::string(told).ends_with("= 0") ? 0 : -6, finish(1));
  }
}

TEST_F(TefTest, HandsOutTheDataOfAnApprovalWithoutTheCardNumber) {
  ASSERT_EQ(kGoesOn, begin(0, "1234,56"));
  EXPECT_THAT(talk({"2", kGood, "1230", "3"}), testing::EndsWith("= 0"));
  for (const int copy : {10, 11}) {
    for (const char* part : {"400000******0010", "VALOR: R$ 1.234,56", "PARCELAS: 03", "NSU: 000001", "CUPOM 000123"}) {
      EXPECT_THAT(data[copy], testing::HasSubstr(part));
    }
  }
  EXPECT_THAT(data[10], testing::HasSubstr("VIA DO CLIENTE"));
  EXPECT_THAT(data[11], testing::HasSubstr("VIA DO ESTABELECIMENTO"));
  EXPECT_EQ("000001 CRUZEIRO CREDITO PARCELADO", data[12] + " " + data[14] + " " + data[15]);
  EXPECT_THAT(terminal.file("tef-state.txt"), testing::Not(testing::HasSubstr(kGood)));
}

/// Standing of a payment as the direct query tells it: 1 confirmed, 2 undone, 3 reversed.
TEST_F(TefTest, ConfirmsUndoesAndReversesPayments) {
  const auto standing = [&](const char* number) {
    std::string answer(200, '\0');
    terminal.call("EnviaRecebeSiTefDireto", 1, 2, 0, number, 6, answer.data(), 200, 0, 30, "", "", "", "", 0);
    return std::string(answer.c_str());
  };
  const auto payment = [&] {
    ASSERT_EQ(kGoesOn, begin(2, "10,00"));
    EXPECT_THAT(talk({kGood, "1230"}), testing::EndsWith("= 0"));
  };
  payment();
  EXPECT_EQ(-3, finish(2));
  EXPECT_EQ(-9, terminal.call("FinalizaTransacaoSiTefInterativo", 1, "000999", "20260315", "142530"));
  EXPECT_EQ(0, finish(1));
  EXPECT_EQ(-6, finish(1));
  payment();
  EXPECT_EQ(0, finish(0));
  payment();  // never confirmed: the next dialogue undoes it
  ASSERT_EQ(kGoesOn, begin(110, ""));
  EXPECT_EQ("21/1 30/517 30/517 30/517 DADO INVALIDO = -7", talk({"1", "2", "3", "9"}));
  ASSERT_EQ(kGoesOn, begin(110, ""));
  EXPECT_EQ("21/1 30/517 20/0 = 0", talk({"1", "1", "0"}));
  EXPECT_EQ(0, finish(1));
  EXPECT_EQ("000001;3;10,00;000002;2;10,00;000003;2;10,00;",
            standing("000001") + standing("000002") + standing("000003"));
  ASSERT_EQ(kGoesOn, begin(110, ""));
  EXPECT_EQ("21/1 = 0", talk({"2"}));
  EXPECT_THAT(data[10], testing::HasSubstr("CANCELA NSU: 000001"));
}

// Typed lines and codes that banks and utilities publish as examples.
constexpr char kSlipTyped[] = "00190500954014481606906809350314337370000000100";
constexpr char kSlipBars[] = "00193373700000001000500940144816060680935031";
constexpr char kBillTyped[] = "836200000005667800481000180975657313001589636081";
constexpr char kBillBars[] = "83620000000667800481001809756573100158963608";

TEST_F(TefTest, ChecksTheDigitsOfSlipsAndBills) {
  const std::pair<const char*, const char*> good[] = {{kSlipTyped, "1"}, {kSlipBars, "1"}, {kBillTyped, "0"},
                                                      {kBillBars, "0"},  {kSlipTyped, ""}, {kBillBars, ""}};
  for (const auto& [code, kind] : good) {
    EXPECT_EQ(0, terminal.call("ValidaCampoCodigoEmBarras", code, kind)) << code;
    if (*kind == '\0') continue;
    for (std::size_t i = 0; i < std::strlen(code); ++i) {
      std::string wrong = code;
      wrong[i] = wrong[i] == '9' ? '0' : static_cast<char>(wrong[i] + 1);
      EXPECT_GT(0, terminal.call("ValidaCampoCodigoEmBarras", wrong.c_str(), kind)) << wrong;
    }
  }
  for (const char* code : {"", "123", "0019050095401448160690680935031433737000000010x"}) {
    EXPECT_EQ(-3, terminal.call("ValidaCampoCodigoEmBarras", code, "1")) << code;
  }
}

TEST_F(TefTest, PaysSlipsAtTheCashDesk) {
  const auto start = [&](const char* date) {
    return terminal.call("CorrespondenteBancarioSiTefInterativo", "000123", date, "142530", "ANA", "");
  };
  const auto pay = [&](std::vector<std::string> answers) {
    EXPECT_EQ(kGoesOn, start("20260315"));
    return talk(answers);
  };
  EXPECT_EQ("21/1 30/516 20/0 = 0", pay({"1", kSlipTyped, "0"}));
  EXPECT_THAT(data[10], testing::HasSubstr("VALOR: R$ 1,00"));
  EXPECT_EQ("21/1 30/516 20/0 PAGAMENTO NAO CONFIRMADO = -2", pay({"2", kBillTyped, "1"}));
  EXPECT_EQ(-3, start("20260231"));
}

TEST_F(TefTest, SellsWithPharmacyBenefits) {
  const auto start = [&](const std::string& what, auto... before) {
    return terminal.call("IniciaFuncaoSiTefInterativo" + what, before..., "000123", "20260315", "142530", "ANA");
  };
  EXPECT_EQ(-6, terminal.call("InformaProdutoVendaVidalink", 1, "7891000315507", 2, "10,00"));
  EXPECT_EQ(kGoesOn, start("ConsultaVidalink", "CONV", ""));
  EXPECT_EQ("30/518 = 0", talk({"1234567"}));
  EXPECT_EQ(0, terminal.call("InformaProdutoVendaVidalink", 1, "7891000315507", 2, "10,00"));
  EXPECT_EQ(-3, terminal.call("InformaProdutoVendaVidalink", 3, "7891000315507", 2, "10,00"));
  EXPECT_EQ(-9, start("VendaVidalink", "000000000", 1));
  EXPECT_EQ(-3, start("VendaVidalink", data[16].c_str(), 2));
  EXPECT_EQ(kGoesOn, start("VendaVidalink", data[16].c_str(), 1));
  EXPECT_EQ("20/0 = 0", talk({"0"}));
  EXPECT_THAT(data[10], testing::HasSubstr("VALOR: R$ 16,00"));
  EXPECT_EQ(0, finish(1));
  const int number = std::stoi(data[12]);
  EXPECT_EQ(-9, start("CancelamentoVidalink", number + 1));
  EXPECT_EQ(kGoesOn, start("CancelamentoVidalink", number));
  EXPECT_EQ("20/0 = 0", talk({"0"}));
}

TEST_F(TefTest, WorksThePinPad) {
  EXPECT_EQ(1, terminal.call("VerificaPresencaPinPad"));
  EXPECT_EQ(0, terminal.call("EscreveMensagemPermanentePinPad", "CAIXA LIVRE"));
  EXPECT_EQ(-3, terminal.call("EscreveMensagemPermanentePinPad", std::string(33, 'x').c_str()));
  EXPECT_EQ(-6, terminal.call("LeSenhaDireto", "CHAVE", ""));
  std::string tracks[3] = {std::string(200, '\0'), std::string(200, '\0'), std::string(200, '\0')};
  const auto readCard = [&] {
    return terminal.call("LeCartaoDireto", tracks[0].data(), tracks[1].data(), tracks[2].data());
  };
  EXPECT_EQ(0, terminal.call("InterrompeLeCartaoDireto"));
  EXPECT_EQ(-2, readCard());
  EXPECT_EQ(0, readCard());
  EXPECT_STREQ("4000000000000010=3012", tracks[2].c_str());
  EXPECT_EQ(0, terminal.call("LeSenhaDireto", "CHAVE", ""));
  EXPECT_EQ(1, terminal.call("LeSimNaoPinPad", "CONFIRMA O VALOR?"));
  EXPECT_EQ(0, terminal.call("LeSimNaoPinPad", "Cancelar a compra?"));
}

TEST(Terminal, WantsToBeConfiguredFirst) {
  Device terminal("libclisitef.so");
  EXPECT_EQ(-1, terminal.call("VerificaPresencaPinPad"));
  EXPECT_EQ(-3, terminal.call("ConfiguraIntSiTefInterativo", "", "00000000", "CAIXA001", 0));
  EXPECT_EQ(-1, terminal.call("LeSimNaoPinPad", "Vai?"));
}

}  // namespace
