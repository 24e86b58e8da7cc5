// Readings of what the machine is and what is programmed into it.
#include <algorithm>

#include "common/calendar.h"
#include "printer/commands.h"
#include "printer/readings.h"

namespace printer {

using namespace device;

namespace {

std::string rate(const Rate& rate) {
  return digits(rate.hundredths, 4);
}

std::string serviceRates(const Printer& printer) {
  std::vector<Rate> rates = printer.state.rates;
  std::erase_if(rates, [](const Rate& r) { return !r.service; });
  return joined(rates, rate);
}

std::string serviceIndexes(const Printer& printer) {
  std::string text;
  for (std::size_t i = 0; i < printer.state.rates.size(); ++i) {
    if (printer.state.rates[i].service) text += (text.empty() ? "" : ",") + digits(static_cast<int>(i) + 1, 2);
  }
  return text;
}

std::string ratesWithIndex(const Printer& printer) {
  std::string text;
  for (std::size_t i = 0; i < printer.state.rates.size(); ++i) {
    text += (text.empty() ? "" : ",") + digits(static_cast<int>(i) + 1, 2) + rate(printer.state.rates[i]);
  }
  return text;
}

template <std::vector<Named> State::*kTable>
std::string names(const Printer& printer) {
  return joined(printer.state.*kTable, [](const Named& row) { return row.name; });
}

std::string head(const Printer& printer) {
  std::string text;
  for (const std::string& row : printer.state.header) text += row + "\n";
  return text;
}

int brandModelKind(Printer&, Arguments& arguments) {
  arguments.answer(0, kBrand);
  arguments.answer(1, kModel);
  arguments.answer(2, "ECF-IF");
  return kOk;
}

/// When the owner, the basic software and the memory were recorded.
int recordedDates(Printer&, Arguments& arguments) {
  arguments.answer(0, "01012600000001012600000001012600");
  arguments.answer(1, "010126000000");
  arguments.answer(2, "N");
  return kOk;
}

/// Index of the totaliser named in the first place, over the name and in the second place.
int totaliserIndex(Printer& printer, Arguments& arguments) {
  const auto index = findNamed(printer.state.totalisers, arguments.text(0));
  if (!index) return kNotProgrammed;
  for (const std::size_t place : {0U, 1U}) arguments.answer(place, digits(*index + 1, 2));
  return kOk;
}

int formIndex(Printer& printer, Arguments& arguments) {
  const auto index = findNamed(printer.state.forms, arguments.text(1));
  if (!index) return kNotProgrammed;
  arguments.answer(0, digits(*index + 1, 2));
  return kOk;
}

constexpr Command kCommands[] = {
    {"ECF_RetornaTipoEcf", reads<[](const Printer&) { return "ECF-IF"; }>},
    {"ECF_VersaoDll", reads<[](const Printer&) { return "1.0.0"; }>, true},
    {"ECF_VersaoFirmware", reads<[](const Printer&) { return kFirmware.substr(0, 4); }>},
    {"ECF_VersaoFirmwareMFD", reads<[](const Printer&) { return kFirmware; }>},
    {"ECF_NumeroSerie", reads<[](const Printer&) { return kSerialNumber.substr(0, 15); }>},
    {"ECF_NumeroSerieMFD", reads<[](const Printer&) { return kSerialNumber; }>},
    {"ECF_NumeroSerieMemoriaMFD", reads<[](const Printer&) { return "MFD00000000000000001"; }>},
    {"ECF_MarcaModeloTipoImpressoraMFD", brandModelKind},
    {"ECF_CGC_IE",
     readsTwo<[](const Printer&) { return std::pair(std::string(kCnpj), std::string(kStateRegistration)); }>},
    {"ECF_CNPJMFD", reads<[](const Printer&) { return kCnpj; }>},
    {"ECF_InscricaoEstadualMFD", reads<[](const Printer&) { return kStateRegistration; }>},
    {"ECF_InscricaoMunicipalMFD", reads<[](const Printer&) { return kCityRegistration; }>},
    {"ECF_NumeroSubstituicoesProprietario", reads<[](const Printer&) { return "0000"; }>},
    {"ECF_SimboloMoeda", reads<[](const Printer& p) { return p.state.currency; }>},
    {"ECF_ClicheProprietario", reads<head>},
    {"ECF_ClicheProprietarioEx", reads<head>},
    {"ECF_NumeroLoja", reads<[](const Printer& p) { return p.state.shopNumber; }>},
    {"ECF_NumeroCaixa", reads<[](const Printer& p) { return p.state.cashDesk; }>},
    {"ECF_DataHoraImpressora",
     readsTwo<[](const Printer& p) { return std::pair(shortDate(p.now), shortTime(p.now)); }>},
    {"ECF_RetornoAliquotas", reads<[](const Printer& p) { return joined(p.state.rates, rate); }>},
    {"ECF_VerificaAliquotasIss", reads<serviceRates>},
    {"ECF_VerificaIndiceAliquotasIss", reads<serviceIndexes>},
    {"ECF_LerAliquotasComIndice", reads<ratesWithIndex>},
    {"ECF_VerificaTotalizadoresNaoFiscais", reads<names<&State::totalisers>>},
    {"ECF_VerificaTotalizadoresNaoFiscaisMFD", reads<names<&State::totalisers>>},
    {"ECF_VerificaTotalizadoresNaoFiscaisEx", reads<names<&State::totalisers>>},
    {"ECF_VerificaDescricaoFormasPagamento", reads<names<&State::forms>>},
    {"ECF_VerificaRelatorioGerencialProgMFD", reads<names<&State::reports>>},
    {"ECF_VerificaModoOperacao", reads<[](const Printer& p) { return p.state.tefMode ? "2" : "1"; }>},
    {"ECF_RetornaIndiceComprovanteNaoFiscal", totaliserIndex},
    {"ECF_RetornaIndiceNomeMP", formIndex},
    {"ECF_CasasDecimaisProgramada",
     readsTwo<[](const Printer&) { return std::pair(std::string("3"), std::string("2")); }>},
    {"ECF_VerificaTruncamento", reads<[](const Printer& p) { return p.state.round ? "0" : "1"; }>},
    {"ECF_VerificaTipoImpressora", reads<[](const Printer&) { return "7"; }>},
    {"ECF_VerificaTipoImpressoraStr", reads<[](const Printer&) { return kModel; }>},
    {"ECF_VerificaModeloEcf", [](Printer&, Arguments&) { return int{kOk}; }},
    {"ECF_VerificaHorarioVerao", reads<[](const Printer& p) { return p.setting("Verao") == "1" ? "1" : "0"; }>},
    {"ECF_CodigoModeloFiscal",
     readsTwo<[](const Printer&) { return std::pair(std::string("990101"), std::string(kModel)); }>},
    {"ECF_DataHoraGravacaoUsuarioSWBasicoMFAdicional", recordedDates},
};

}  // namespace

std::span<const Command> identityCommands() {
  return kCommands;
}

}  // namespace printer
