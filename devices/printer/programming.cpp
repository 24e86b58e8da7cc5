// What is programmed into the printer: head, logo, tax rates, names, clock, rounding, operator.
#include <algorithm>

#include "common/calendar.h"
#include "printer/commands.h"
#include "printer/documents.h"
#include "printer/printer.h"

namespace printer {

using namespace device;

namespace {

/// Tables and clock change only between documents and before the day's first sale.
int withoutMovement(const Printer& printer) {
  if (printer.state.open.kind != Kind::kNone) return kDocumentOpen;
  return printer.state.day.open && printer.state.day.gross > 0 ? kDayHasSales : kOk;
}

bool plainLine(const std::string& text, std::size_t most) {
  return !text.empty() && text.size() <= most;
}

int sendLogo(Printer& printer, Arguments& arguments) {
  const std::string file = arguments.trimmed(0);
  if (!plainLine(file, 64)) return kBadArgument;
  printer.state.logo = "?" + file;  // sent, not stored yet
  return kOk;
}

int storeLogo(Printer& printer, Arguments&) {
  if (!printer.state.logo.starts_with('?')) return kNothing;
  printer.state.logo.erase(0, 1);
  return kOk;
}

int dropLogo(Printer& printer, Arguments&) {
  if (printer.state.logo.empty()) return kNothing;
  printer.state.logo.clear();
  return kOk;
}

/// Cuts a table back to its first rows, which belong to the printer.
int shorten(Printer& printer, std::vector<Named>& table, std::size_t kept) {
  if (const int result = withoutMovement(printer); result != kOk) return result;
  table.resize(kept);
  printer.state.last = Document{};  // it may speak of a row that is gone
  printer.state.linked = LinkedReceipt{};
  printer.state.openReport = 0;
  return kOk;
}

int clearRates(Printer& printer, Arguments&) {
  if (const int result = withoutMovement(printer); result != kOk) return result;
  printer.state.rates.clear();
  return kOk;
}

int addRate(Printer& printer, Arguments& arguments) {
  const auto rate = parseDecimal(arguments.trimmed(0), 2, false);
  const std::string kind = arguments.trimmed(1);
  if (!rate || *rate > 9999 || (kind != "0" && kind != "1")) return kBadArgument;
  if (printer.state.open.kind != Kind::kNone) return kDocumentOpen;
  auto& rates = printer.state.rates;
  const Rate wanted{static_cast<int>(*rate), kind == "1"};
  const auto same = [&](const Rate& r) { return r.hundredths == wanted.hundredths && r.service == wanted.service; };
  if (std::any_of(rates.begin(), rates.end(), same)) return kOk;
  if (rates.size() >= kMostRates) return kFull;
  rates.push_back(wanted);
  return kOk;
}

int addNamed(Printer& printer, std::vector<Named>& table, std::size_t most, const std::string& name, bool linkable) {
  if (printer.state.open.kind != Kind::kNone) return kDocumentOpen;
  if (!plainLine(name, 16) || parseInteger(name, 0, 99)) return kBadArgument;  // a number would read as an index
  if (const auto known = findNamed(table, name)) {
    table[static_cast<std::size_t>(*known)].linkable = linkable;
    return kOk;
  }
  if (table.size() >= most) return kFull;
  table.push_back({name, 0, 0, linkable});
  return kOk;
}

/// Names the row with this number, which exists or is the next one.
int nameRow(Printer& printer, std::vector<Named>& table, std::size_t most, std::int64_t index, std::string name,
            std::string_view standard) {
  if (printer.state.open.kind != Kind::kNone) return kDocumentOpen;
  if (index < 1 || index > static_cast<std::int64_t>(most)) return kBadArgument;
  const auto at = static_cast<std::size_t>(index) - 1;
  if (at > table.size()) return kNotProgrammed;
  if (name.empty()) name = std::string(standard) + " " + digits(index, 2);
  if (name.size() > 19) return kBadArgument;
  if (at == table.size()) table.emplace_back();
  table[at].name = name;
  return kOk;
}

int addForms(Printer& printer, Arguments& arguments) {
  for (const std::string& name : split(arguments.text(0), ';')) {
    if (trim(name).empty()) continue;
    const int result = addNamed(printer, printer.state.forms, kMostForms, trim(name), false);
    if (result != kOk) return result;
  }
  return kOk;
}

int addForm(Printer& printer, Arguments& arguments) {
  const std::string linkable = arguments.trimmed(1);
  if (linkable != "0" && linkable != "1") return kBadArgument;
  return addNamed(printer, printer.state.forms, kMostForms, arguments.trimmed(0), linkable == "1");
}

int nameTotaliser(Printer& printer, Arguments& arguments) {
  if (arguments.number(0) < 3) return kBadArgument;  // cash withdrawal and supply keep their names
  return nameRow(printer, printer.state.totalisers, kMostTotalisers, arguments.number(0), arguments.trimmed(1),
                 "Totalizador");
}

int nameReport(Printer& printer, Arguments& arguments) {
  const auto index = parseInteger(arguments.trimmed(0), 1, kMostReports);
  if (!index) return kBadArgument;
  return nameRow(printer, printer.state.reports, kMostReports, *index, arguments.trimmed(1), "Relatorio");
}

int programHead(Printer& printer, Arguments& arguments) {
  if (const int result = withoutMovement(printer); result != kOk) return result;
  std::vector<std::string> rows;
  for (std::size_t i = 0; i < 3; ++i) {
    if (!arguments.trimmed(i).empty()) rows.push_back(arguments.trimmed(i).substr(0, kColumns));
  }
  if (rows.empty()) return kBadArgument;
  printer.state.header = rows;
  return kOk;
}

/// Shop, cash desk, operator, currency, rounding; an empty text leaves a value as it is.
int programParameters(Printer& printer, Arguments& arguments) {
  const std::string shop = arguments.trimmed(0);
  const std::string desk = arguments.trimmed(1);
  const std::string person = arguments.trimmed(2);
  const std::string currency = arguments.trimmed(3);
  const std::string round = arguments.trimmed(4);
  if ((!shop.empty() && !parseInteger(shop, 1, 9999)) || (!desk.empty() && !parseInteger(desk, 1, 999)) ||
      person.size() > 20 || currency.size() > 4 || (!round.empty() && round != "0" && round != "1")) {
    return kBadArgument;
  }
  State& state = printer.state;
  if (!shop.empty()) state.shopNumber = digits(*parseInteger(shop, 1, 9999), 4);
  if (!desk.empty()) state.cashDesk = digits(*parseInteger(desk, 1, 999), 3);
  if (!person.empty()) state.operatorName = person;
  if (!currency.empty()) state.currency = currency;
  if (!round.empty()) state.round = round == "1";
  return kOk;
}

/// Names of totalisers from the third on; empty texts leave a name as it is.
int programTotalisers(Printer& printer, Arguments& arguments) {
  for (std::size_t i = 0; i < 6; ++i) {
    const std::string name = arguments.trimmed(i);
    if (name.empty()) continue;
    const int result =
        nameRow(printer, printer.state.totalisers, kMostTotalisers, static_cast<std::int64_t>(i) + 3, name, "");
    if (result != kOk) return result;
  }
  return kOk;
}

int setClock(Printer& printer, const std::string& date, std::string time) {
  if (const int result = withoutMovement(printer); result != kOk) return result;
  std::erase(time, ':');
  const auto day = parseDate(date);
  if (!day || !parseMoment(*day + time)) return kBadArgument;
  const std::string when = *day + time;
  if (when.substr(0, 8) < printer.state.closedDate) return kBadArgument;  // behind the fiscal memory
  printer.state.clockOffset += secondsBetween(printer.now, when);
  return kOk;
}

/// The third argument switches summer time at once; empty leaves it.
int switchSummerTime(Printer& printer, bool on) {
  if (const int result = withoutMovement(printer); result != kOk) return result;
  if ((printer.setting("Verao") == "1") == on) return kOk;
  printer.set("Verao", on ? "1" : "0");
  // The clock goes with it: an hour, in seconds.
  printer.state.clockOffset += on ? 3600 : -3600;
  return kOk;
}

int programClock(Printer& printer, Arguments& arguments) {
  const std::string summer = arguments.trimmed(2);
  if (!summer.empty() && summer != "0" && summer != "1") return kBadArgument;
  const int result = setClock(printer, arguments.trimmed(0), arguments.trimmed(1));
  if (result == kOk && !summer.empty()) printer.set("Verao", summer);
  return result;
}

int configureSummerTime(Printer& printer, Arguments& arguments) {
  const std::string wanted = arguments.trimmed(0);
  if (wanted != "0" && wanted != "1") return kBadArgument;
  return switchSummerTime(printer, wanted == "1");
}

int programOperator(Printer& printer, Arguments& arguments) {
  const std::string name = arguments.trimmed(0);
  if (!plainLine(name, 20)) return kBadArgument;
  printer.state.operatorName = name;
  return kOk;
}

template <bool kRound>
int rounding(Printer& printer, Arguments&) {
  if (printer.state.open.kind != Kind::kNone) return kDocumentOpen;
  printer.state.round = kRound;
  return kOk;
}

int printConfiguration(Printer& printer, Arguments&) {
  const State& state = printer.state;
  if (const int result = beginDocument(printer, Kind::kReading, "CONFIGURACAO DO ECF"); result != kOk) return result;
  printer.tape.pair("FIRMWARE", kFirmware);
  printer.tape.pair("PORTA", state.port + " " + state.speed);
  printer.tape.pair("CALCULO", state.round ? "ARREDONDAMENTO" : "TRUNCAMENTO");
  printer.tape.pair("HORARIO DE VERAO", printer.setting("Verao") == "1" ? "SIM" : "NAO");
  for (const Setting& setting : state.settings) printer.tape.pair(setting.name, setting.value);
  printer.finish(Kind::kReading, 0, false);
  return kOk;
}

/// Shop, cash desk, automatic Z reduction, rounding.
int configure(Printer& printer, Arguments& arguments) {
  const auto shop = parseInteger(arguments.trimmed(0), 1, 9999);
  const auto desk = parseInteger(arguments.trimmed(1), 1, 999);
  const std::string automatic = arguments.trimmed(2);
  const std::string round = arguments.trimmed(3);
  if (!shop || !desk || (automatic != "0" && automatic != "1") || (round != "0" && round != "1")) return kBadArgument;
  printer.state.shopNumber = digits(*shop, 4);
  printer.state.cashDesk = digits(*desk, 3);
  printer.set("Zautomatica", automatic);
  printer.state.round = round == "1";
  return kOk;
}

template <std::string State::*kPlace, std::size_t kMost>
int programText(Printer& printer, Arguments& arguments) {
  const std::string text = arguments.trimmed(0);
  if (!plainLine(text, kMost)) return kBadArgument;
  printer.state.*kPlace = text;
  return kOk;
}

int cutNext(Printer& printer, Arguments& arguments) {
  const int wanted = arguments.number(0);
  if (wanted != 0 && wanted != 1) return kBadArgument;
  printer.state.cutNext = wanted == 1;
  return kOk;
}

constexpr Command kCommands[] = {
    {"ECF_EnviarLogotipoCliche", sendLogo},
    {"ECF_GravarLogotipoCliche", storeLogo},
    {"ECF_ExcluirLogotipoCliche", dropLogo},
    {"ECF_ApagaTabelaAliquotas", clearRates},
    {"ECF_ApagaTabelaNomesNaoFiscais", [](Printer& p, Arguments&) { return shorten(p, p.state.totalisers, 2); }},
    {"ECF_ApagaTabelaNomesRelatoriosGerenciais", [](Printer& p, Arguments&) { return shorten(p, p.state.reports, 1); }},
    {"ECF_ApagaTabelaNomesFormasdePagamento", [](Printer& p, Arguments&) { return shorten(p, p.state.forms, 1); }},
    {"ECF_ProgramarParametrosDiversos", programParameters},
    {"ECF_ProgramarCliche", programHead},
    {"ECF_ProgramarTotalizadoresNaoTributados", programTotalisers},
    {"ECF_ProgramaAliquota", addRate},
    {"ECF_ProgramarRelogio", programClock},
    {"ECF_ProgramaHorarioVerao", [](Printer& p, Arguments&) { return switchSummerTime(p, p.setting("Verao") != "1"); }},
    {"ECF_CfgHorarioVerao", configureSummerTime},
    {"ECF_NomeiaTotalizadorNaoSujeitoIcms", nameTotaliser},
    {"ECF_ProgramaFormaPagamentoMFD", addForm},
    {"ECF_ProgramaFormasPagamento", addForms},
    {"ECF_NomeiaRelatorioGerencialMFD", nameReport},
    {"ECF_ProgramaOperador", programOperator},
    {"ECF_ProgramaArredondamento", rounding<true>},
    {"ECF_ProgramaTruncamento", rounding<false>},
    {"ECF_ImprimeConfiguracoesImpressora", printConfiguration},
    {"ECF_ConfigurarECF", configure},
    {"ECF_ProgramaMoedaSingular", programText<&State::singular, 19>},
    {"ECF_ProgramaMoedaPlural", programText<&State::plural, 22>},
    {"ECF_AlteraSimboloMoeda", programText<&State::currency, 4>},
    {"ECF_ProgramaCaracterAutenticacao", programText<&State::authentication, 18>},
    {"ECF_AtivaDesativaCorteProximoMFD", cutNext},
};

}  // namespace

std::span<const Command> programmingCommands() {
  return kCommands;
}

}  // namespace printer
