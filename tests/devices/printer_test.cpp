// The fiscal printer: a sale and its paper, what each state forbids, the day, amounts.
#include <gmock/gmock.h>

#include "device.h"

namespace {

class PrinterTest : public testing::Test {
 protected:
  PrinterTest() { printer.run("ECF_AbrePortaSerial -> 1"); }

  /// Fails unless the lines stand on the paper in this order, other lines between them or not.
  void expectPaper(const std::vector<std::string>& lines) {
    const std::string paper = "\n" + printer.file("ecf-tape.txt");
    std::size_t at = 0;
    for (const std::string& line : lines) {
      const std::size_t found = paper.find("\n" + line + "\n", at);
      ASSERT_NE(std::string::npos, found) << "[" << line << "] is missing in" << paper;
      at = found + line.size();
    }
  }

  Environment now{"TELLIRA_SIM_NOW", kSunday};
  Device printer;
};

TEST_F(PrinterTest, PrintsASaleWithACardReceiptAndTheDaysEnd) {
  printer.run(
      "ECF_AbreCupom 123.456.789-09 -> 1; ECF_VendeItem 789|Caf\xE9|1800|I|2|2|12,50|%|1000 -> 1\n"
      R"(
    ECF_VendeItem 790|Arroz|FF|F|0,750|2|4.00|$|0 -> 1; ECF_VendeItemTresDecimais 791|Gasolina|05|10,125|5,999|| -> 1
    ECF_VendeItemDepartamento 792|Bolo|NN|8,000|1|0,50||12|KG -> 1; ECF_CancelaItemGenerico 2 -> 1
    ECF_AcrescimoDescontoItemMFD 3|A|$|0,26 -> 1; ECF_IniciaFechamentoCupomMFD X|$|1,00|2,00 -> 1
    ECF_EfetuaFormaPagamentoMFD Cartao Credito|50,00|3|em 3 vezes -> 1; ECF_EfetuaFormaPagamento 1|50,00 -> 1
    ECF_TerminaFechamentoCupom Obrigado -> 1; ECF_AbreComprovanteNaoFiscalVinculado Cartao Credito|| -> 1
    ECF_UsaComprovanteNaoFiscalVinculado NSU 000001 -> 1; ECF_FechaComprovanteNaoFiscalVinculado -> 1
    ECF_SegundaViaCNFV -> 1; ECF_ReducaoZ | -> 1)");
  expectPaper({"15/03/2026 14:25:30   CCF:000001      COO:000001",
               "CPF/CNPJ CONSUMIDOR: 123.456.789-09",
               "001 789 Caf\xE9",
               "    2UN x 12,50                       T01  25,00",
               "    DESCONTO ITEM                          -2,50",
               "    0,750UN x 4,00                      FF  3,00",
               "    10,125UN x 5,999                  S05  60,74",
               "    1KG x 8,00                          NN  8,00",
               "    ACRESCIMO ITEM                         +0,50",
               "CANCELAMENTO ITEM 002                      -3,00",
               "ACRESCIMO ITEM 003                         +0,26",
               "SUBTOTAL R$                                92,00",
               "ACRESCIMO                                  +1,00",
               "DESCONTO                                   -2,00",
               "TOTAL R$                                   91,00",
               "Cartao Credito                             50,00",
               "em 3 vezes",
               "Dinheiro                                   50,00",
               "SOMA DOS PAGAMENTOS                       100,00",
               "TROCO R$                                    9,00",
               "Obrigado",
               "         COMPROVANTE CREDITO OU DEBITO",
               "COO DO DOCUMENTO DE COMPRA:               000001",
               "NSU 000001",
               "                     2a VIA",
               "NSU 000001",
               "                   REDUCAO Z",
               "GRANDE TOTAL                               96,74",
               "CANCELAMENTO                                3,00",
               "DESCONTO                                    4,50",
               "ACRESCIMO                                   1,76",
               "VENDA LIQUIDA                              91,00"});
  for (const char* function : {"ECF_NumeroCupom", "ECF_RetornaCOO"}) EXPECT_EQ("000004", printer.read(function));
  EXPECT_EQ("000000000000009674", printer.read("ECF_GrandeTotalUltimaReducaoMFD"));
  EXPECT_EQ("0001", printer.read("ECF_RetornaCRZ"));
}

/// Every line starts from a new printer with an open port; the calls behind the way there must be refused.
TEST(PrinterStates, ForbidWhatDoesNotFit) {
  const Environment now("TELLIRA_SIM_NOW", kSunday);
  const std::string open = "ECF_AbrePortaSerial -> 1; ";
  const std::string coupon = open + "ECF_AbreCupom  -> 1; ";
  const std::string item = coupon + "ECF_VendeItem 1|Pao|II|I|1|2|10,00|$| -> 1; ";
  const std::string paying = item + "ECF_IniciaFechamentoCupom D|$| -> 1; ";
  const std::string closed = paying + "ECF_EfetuaFormaPagamento 1|10,00 -> 1; ECF_TerminaFechamentoCupom  -> 1; ";
  const std::string cases[] = {
      "ECF_AbreCupom  -> -3; ECF_FechaPortaSerial -> -3",
      coupon + "ECF_AbreCupom  -> -5; ECF_LeituraX -> -5; ECF_ReducaoZ | -> -5; ECF_IniciaFechamentoCupom D|$| -> -10",
      open + "ECF_VendeItem 1|Pao|II|I|1|2|10,00|$| -> -6; ECF_TerminaFechamentoCupom  -> -6",
      open + "ECF_UsaRelatorioGerencialMFD texto -> -6; ECF_CancelaCupom -> -14; ECF_DadosUltimaReducao  -> -14",
      paying + "ECF_VendeItem 1|Pao|II|I|1|2|10,00|$| -> -7; ECF_TerminaFechamentoCupom  -> -11",
      paying + "ECF_EfetuaFormaPagamento Cartao Debito|10,01 -> -11; ECF_EfetuaFormaPagamento Vale|10,00 -> -12",
      item + "ECF_EfetuaFormaPagamento Dinheiro|10,00 -> -7; ECF_CancelaItemGenerico 2 -> -10",
      item + "ECF_CancelaItemAnterior -> 1; ECF_CancelaItemGenerico 1 -> -10",
      item + "ECF_DescontoSobreItemVendido 1|$|10,00 -> -11; ECF_IniciaFechamentoCupom D|%|10000 -> -11",
      coupon + "ECF_VendeItem 1|Pao|0830|I|1|2|10,00|$| -> -12; ECF_VendeItem 1|Pao|16|I|1|2|10,00|$| -> -12",
      coupon + "ECF_VendeItem 1|Pao|II|I|0,5|2|10,00|$| -> -2; ECF_VendeItem 1|Pao|II|F|1,0001|2|10,00|$| -> -2",
      coupon + "ECF_VendeItem 1||II|I|1|2|10,00|$| -> -2; ECF_VendeItem 1|Ouro|II|I|9999|2|9999999,99|$| -> -11",
      closed + "ECF_CancelaCupom -> 1; ECF_CancelaCupom -> -14",
      closed + "ECF_LeituraX -> 1; ECF_CancelaCupom -> -14",
      closed + "ECF_AbreComprovanteNaoFiscalVinculado Cartao Credito|| -> -14",
      closed + "ECF_AbreComprovanteNaoFiscalVinculado Dinheiro|| -> -12",
      closed + "ECF_ApagaTabelaAliquotas -> -15; ECF_Sangria 10,01 -> -11",
      closed + "ECF_ReducaoZ | -> 1; ECF_ReducaoZ | -> -8; ECF_AbreCupom  -> -8; ECF_Suprimento 1,00| -> -8",
      open + "ECF_ImprimeCheque 341|10,00|Ze|Curitiba|| -> -12; ECF_CodigoBarrasEAN13MFD 7891000315508 -> -2",
      open + "ECF_LeituraMemoriaFiscalData 31/02/2026|01/03/2026 -> -2",
  };
  for (const std::string& script : cases) Device().run(script);
}

TEST_F(PrinterTest, ARefusalChangesNothing) {
  printer.run("ECF_AbreCupom  -> 1; ECF_VendeItem 1|Pao|II|I|1|2|10,00|$| -> 1");
  const std::string paper = printer.file("ecf-tape.txt");
  printer.run("ECF_FechaCupom Dinheiro|D|$|1,00|5,00|Nada -> -11");  // subtotal, discount and total went before
  EXPECT_EQ(paper, printer.file("ecf-tape.txt"));
  EXPECT_EQ("VALOR NAO PERMITIDO", printer.read("ECF_ObterMensagemStatus"));
  printer.run("ECF_VendeItem 2|Leite|II|I|1|2|5,00|$| -> 1");
  EXPECT_EQ("00000000001500", printer.read("ECF_SubTotal"));
}

TEST_F(PrinterTest, CountsTheDayAndStartsTheNextOne) {
  printer.run(R"(
    ECF_AbreCupom  -> 1; ECF_VendeItem 1|Pao|1200|I|1|2|10,00|$| -> 1; ECF_FechaCupomResumido Dinheiro| -> 1
    ECF_AbreCupom  -> 1; ECF_VendeItem 1|Pao|1200|I|3|2|10,00|$| -> 1; ECF_CancelaCupom -> 1
    ECF_RecebimentoNaoFiscal Recebimento|7,00|Cheque -> 1; ECF_Suprimento 2,00| -> 1; ECF_Sangria 12,00 -> 1)");
  const std::pair<const char*, const char*> readings[] = {
      {"ECF_VendaBruta", "00000000004000"},     {"ECF_Cancelamentos", "00000000003000"},
      {"ECF_NumeroCuponsCancelados", "0001"},   {"ECF_NumeroOperacoesNaoFiscais", "000003"},
      {"ECF_ContadorCupomFiscalMFD", "000002"}, {"ECF_RetornaTotalPagamentos", "00000000001700"},
      {"ECF_VerificaDiaAberto", "1"},           {"ECF_VerificaZPendente", "0"}};
  for (const auto& [function, expected] : readings) EXPECT_EQ(expected, printer.read(function)) << function;
  EXPECT_EQ("00000000001200", printer.read("ECF_ValorTotalizadorNaoFiscal", 2, "Sangria"));
  const Environment monday("TELLIRA_SIM_NOW", kMonday);
  EXPECT_EQ("1", printer.read("ECF_VerificaZPendente"));
  printer.run("ECF_AbreCupom  -> -9; ECF_ReducaoZ | -> 1; ECF_AbreCupom  -> 1");
  EXPECT_EQ("150326", printer.read("ECF_DataMovimentoUltimaReducaoMFD"));
  EXPECT_EQ("160326", printer.read("ECF_DataMovimento"));
  EXPECT_EQ("00000000000000", printer.read("ECF_VendaBruta"));
  EXPECT_EQ("000000000000004000", printer.read("ECF_GrandeTotal"));
}

TEST_F(PrinterTest, CountsCardReceiptsThatWereNeverPrinted) {
  const std::string sale =
      "ECF_AbreCupom  -> 1; ECF_VendeItem 1|Pao|II|I|1|2|1|$| -> 1; ECF_FechaCupomResumido Cartao Debito| -> 1; ";
  printer.run(sale + "ECF_AbreComprovanteNaoFiscalVinculado 4|| -> 1; ECF_FechaComprovanteNaoFiscalVinculado -> 1");
  printer.run(sale + sale);
  EXPECT_EQ("0001", printer.read("ECF_ComprovantesNaoFiscaisNaoEmitidosMFD"));
  printer.run("ECF_ReducaoZ | -> 1");
  EXPECT_EQ("0002", printer.read("ECF_ComprovantesNaoFiscaisNaoEmitidosMFD"));
}

TEST_F(PrinterTest, CutsThePaperUnlessToldNotTo) {
  EXPECT_EQ(1, printer.call("ECF_AtivaDesativaCorteProximoMFD", 0));
  printer.run("ECF_LeituraX -> 1");
  EXPECT_THAT(printer.file("ecf-tape.txt"), testing::Not(testing::HasSubstr("====")));
  printer.run("ECF_LeituraX -> 1");
  EXPECT_THAT(printer.file("ecf-tape.txt"), testing::HasSubstr("===="));
}

TEST_F(PrinterTest, AutomaticSettingsActWhenADocumentOpens) {
  printer.run(R"(
    ECF_CfgFechaAutomaticoCupom 1 -> 1; ECF_ZAUTO 1 -> 1
    ECF_AbreCupom  -> 1; ECF_VendeItem 1|Pao|II|I|1|2|10,00|$| -> 1; ECF_AbreCupom  -> 1)");
  EXPECT_EQ("00000000001000", printer.read("ECF_VendaBruta"));
  const Environment monday("TELLIRA_SIM_NOW", kMonday);
  printer.run("ECF_CancelaCupom -> 1; ECF_AbreCupom  -> 1");
  EXPECT_EQ("0001", printer.read("ECF_NumeroReducoes"));
}

TEST_F(PrinterTest, ReadsAmountsStrictly) {
  const std::pair<const char*, int> good[] = {{"12,50", 1250},   {"1250", 1250}, {"12.5", 1250},
                                              {" 12,50 ", 1250}, {"1", 1},       {"0,01", 1}};
  long sum = 0;
  for (const auto& [text, cents] : good) {
    EXPECT_EQ(1, printer.callTexts("ECF_Suprimento", {text, ""})) << text;
    EXPECT_EQ(sum += cents, std::stol(printer.read("ECF_ValorTotalizadorNaoFiscal", 2, "Suprimento"))) << text;
  }
  for (const char* text : {"", "0", "-1", "+1", "1,", ",5", "1,234", "1.234,56", "12,5x", "0x10", "1e3", "1 2",
                           "9999999999999", "99999999999999999999999999"}) {
    EXPECT_EQ(-2, printer.callTexts("ECF_Suprimento", {text, ""})) << text;
  }
}

TEST_F(PrinterTest, ReadsAndNumbersAsTheirPlacesSay) {
  int words[4] = {9, 9, 9, 9};
  printer.run("ECF_LeituraX -> 1");
  EXPECT_EQ(1, printer.call("ECF_RetornoImpressora", &words[0], &words[1], &words[2]));
  EXPECT_THAT(words, testing::ElementsAre(6, 0, 0, 9));
  printer.run("ECF_VendeItem 1|Pao|II|I|1|2|1|$| -> -6");
  EXPECT_EQ(1, printer.call("ECF_RetornoImpressoraMFD", &words[0], &words[1], &words[2], &words[3]));
  EXPECT_THAT(words, testing::ElementsAre(21, 0, 6, -6));
  printer.run("ECF_AbreCupom  -> 1");
  EXPECT_EQ(1, printer.call("ECF_VerificaEstadoImpressora", &words[0], &words[1], &words[2]));
  EXPECT_THAT(words, testing::ElementsAre(6, 10, 0, -6));
  EXPECT_EQ("12.345.678/0001-95", printer.read("ECF_CGC_IE", 2));
  EXPECT_EQ("1800,1200,0700,2500,0500", printer.read("ECF_RetornoAliquotas"));
}

TEST(SecondPrinter, HasItsOwnFilesAndState) {
  const Environment now("TELLIRA_SIM_NOW", kSunday);
  Device printer("bemafi32.so");
  printer.run("Bematech_FI_LeituraX -> -3; Bematech_FI_AbrePortaSerial -> 1; Bematech_FI_LeituraX -> 1");
  EXPECT_EQ("000001", printer.read("Bematech_FI_NumeroCupom"));
  EXPECT_THAT(printer.file("bema-tape.txt"), testing::HasSubstr("LEITURA X"));
}

}  // namespace
