// What stands around the printer: authentication of documents, the cash drawer, cheques.
#include <algorithm>

#include "common/calendar.h"
#include "printer/commands.h"
#include "printer/documents.h"
#include "printer/printer.h"

namespace printer {

using namespace device;

namespace {

int authenticate(Printer& printer, const std::string& text) {
  if (printer.state.lastKind == Kind::kNone) return kNothing;
  if (text.size() > 32) return kBadArgument;
  const std::string mark = printer.state.authentication.empty() ? "*" : printer.state.authentication;
  printer.tape.line(mark + " AUT " + digits(printer.state.counters.coupon, 6) + " " + printedDate(printer.now) + " " +
                    text);
  return kOk;
}

int authenticateSeveral(Printer& printer, Arguments& arguments) {
  const auto lines = parseInteger(arguments.trimmed(0), 1, 5);
  if (!lines) return kBadArgument;
  int result = kOk;
  for (std::int64_t i = 0; i < *lines && result == kOk; ++i) result = authenticate(printer, arguments.trimmed(1));
  return result;
}

int openDrawer(Printer& printer, Arguments&) {
  printer.state.drawerOpen = true;
  return kOk;
}

/// The sensor reads once and the cashier has shut the drawer by the next time.
int readDrawer(Printer& printer) {
  const int state = printer.state.drawerOpen ? 1 : 0;
  printer.state.drawerOpen = false;
  return state;
}

int layout(Printer& printer, Arguments& arguments) {
  const auto bank = parseInteger(arguments.trimmed(0), 1, 999);
  const std::string shape = arguments.trimmed(1);
  if (!bank || shape.empty() || shape.size() > 40) return kBadArgument;
  // One row a bank, with its number in front.
  const std::string row = digits(*bank, 3) + shape;
  auto& layouts = printer.state.chequeLayouts;
  const auto known = std::find_if(layouts.begin(), layouts.end(),
                                  [&](const std::string& l) { return l.starts_with(row.substr(0, 3)); });
  if (known != layouts.end()) {
    *known = row;
    return kOk;
  }
  if (layouts.size() >= 50) return kFull;
  layouts.push_back(row);
  return kOk;
}

int cityAndPayee(Printer& printer, Arguments& arguments) {
  const std::string city = arguments.trimmed(0);
  const std::string payee = arguments.trimmed(1);
  if (city.empty() || city.size() > 27 || payee.empty() || payee.size() > 45) return kBadArgument;
  printer.state.cities = {city, payee};
  return kOk;
}

/// Standard city or payee where the call leaves it empty.
std::string orStandard(const State& state, const std::string& text, std::size_t which) {
  return text.empty() && state.cities.size() > which ? state.cities[which] : text;
}

int printCheque(Printer& printer, Arguments& arguments) {
  State& state = printer.state;
  if (state.open.kind != Kind::kNone) return kDocumentOpen;
  const auto bank = parseInteger(arguments.trimmed(0), 1, 999);
  const auto amount = parseMoney(arguments.trimmed(1));
  const std::string payee = orStandard(state, arguments.trimmed(2), 1);
  const std::string city = orStandard(state, arguments.trimmed(3), 0);
  const std::string dateText = arguments.trimmed(4);
  const auto date = dateText.empty() ? std::optional(printer.today()) : parseDate(dateText);
  if (!bank || !amount || *amount < 1 || payee.size() > 45 || city.empty() || city.size() > 27 || !date) {
    return kBadArgument;
  }
  const auto known = std::any_of(state.chequeLayouts.begin(), state.chequeLayouts.end(),
                                 [&](const std::string& l) { return l.starts_with(digits(*bank, 3)); });
  if (!known) return kNotProgrammed;
  state.cheque = {true, true, digits(*bank, 3), payee, city, *date, arguments.trimmed(5).substr(0, 120), *amount};
  printer.tape.pair("CHEQUE BANCO " + state.cheque.bank, state.currency + " " + money(*amount));
  printer.tape.line("  " + state.singular + "/" + state.plural + " A " + payee);
  printer.tape.pair("  " + city, printedDate(*date));
  printer.tape.text(state.cheque.message, 2);
  return kOk;
}

int copyCheque(Printer& printer, Arguments&) {
  const Cheque& cheque = printer.state.cheque;
  if (!cheque.printed) return kNothing;
  printer.tape.pair("COPIA CHEQUE " + cheque.bank, money(cheque.amount));
  printer.tape.pair("  " + cheque.payee, printedDate(cheque.date));
  return kOk;
}

int cancelCheque(Printer& printer, Arguments&) {
  if (!printer.state.cheque.inserted) return kNothing;
  printer.state.cheque = Cheque{};
  printer.tape.line("CHEQUE CANCELADO");
  return kOk;
}

/// Gives the cheque back; its data stays for a copy.
int releaseCheque(Printer& printer, Arguments&) {
  if (!printer.state.cheque.inserted) return kNothing;
  printer.state.cheque.inserted = false;
  return kOk;
}

/// The magnetic line: bank, branch, account and number made up from the cheque.
int readCheque(Printer& printer, Arguments& arguments) {
  const Cheque& cheque = printer.state.cheque;
  if (!cheque.printed) return kNothing;
  arguments.answer(0, cheque.bank + "0001" + digits(cheque.amount, 10) + digits(printer.state.counters.coupon, 6));
  return kOk;
}

int printLayouts(Printer& printer, Arguments&) {
  if (const int result = beginDocument(printer, Kind::kReading, "LEIAUTES DE CHEQUES"); result != kOk) return result;
  for (const std::string& row : printer.state.chequeLayouts) {
    printer.tape.pair("BANCO " + row.substr(0, 3), row.size() > 3 ? row.substr(3) : "PADRAO");
  }
  printer.finish(Kind::kReading, 0, false);
  return kOk;
}

/// 1 waiting for a cheque, 2 cheque in the slot, 3 printed and in the slot.
int chequeStatus(const Printer& printer) {
  if (!printer.state.cheque.inserted) return 1;
  return printer.state.cheque.printed ? 3 : 2;
}

template <int (*kRead)(Printer&)>
int asNumber(Printer& printer, Arguments& arguments) {
  arguments.answer(0, kRead(printer));
  return kOk;
}

template <int (*kRead)(Printer&)>
int asText(Printer& printer, Arguments& arguments) {
  arguments.answer(0, std::to_string(kRead(printer)));
  return kOk;
}

int chequeStatusOf(Printer& printer) {
  return chequeStatus(printer);
}

constexpr Command kCommands[] = {
    {"ECF_Autenticacao", [](Printer& p, Arguments&) { return authenticate(p, ""); }},
    {"ECF_AutenticacaoMFD", authenticateSeveral},
    {"ECF_AutenticacaoStr", [](Printer& p, Arguments& a) { return authenticate(p, a.trimmed(0)); }},
    {"ECF_VerificaDocAutenticacao",
     [](Printer& p, Arguments&) { return p.state.lastKind == Kind::kNone ? int{kNothing} : int{kOk}; }},
    {"ECF_AcionaGaveta", openDrawer},
    {"ECF_VerificaEstadoGaveta", asNumber<readDrawer>},
    {"ECF_VerificaEstadoGavetaStr", asText<readDrawer>},
    {"ECF_ProgramarLeiauteCheque", layout},
    {"ECF_IncluiCidadeFavorecido", cityAndPayee},
    {"ECF_VerificaStatusCheque", asNumber<chequeStatusOf>},
    {"ECF_VerificaStatusChequeStr", asText<chequeStatusOf>},
    {"ECF_ImprimeCheque", printCheque},
    {"ECF_ImprimeChequeMFD", printCheque},
    {"ECF_ImprimirCheque", printCheque},
    {"ECF_ImprimeCopiaCheque", copyCheque},
    {"ECF_CancelaImpressaoCheque", cancelCheque},
    {"ECF_CancelarCheque", cancelCheque},
    {"ECF_LeituraChequeMFD", readCheque},
    {"ECF_LeituraCodigoMICR", readCheque},
    {"ECF_LiberarCheque", releaseCheque},
    {"ECF_LeituraLeiautesCheques", printLayouts},
};

}  // namespace

std::span<const Command> deskCommands() {
  return kCommands;
}

}  // namespace printer
