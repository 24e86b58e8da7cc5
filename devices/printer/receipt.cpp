// Non-fiscal receipts, cash movements and management reports.
#include "printer/commands.h"
#include "printer/documents.h"
#include "printer/sale.h"

namespace printer {

using namespace device;

namespace {

constexpr Kind kReceipt = Kind::kReceipt;
constexpr int kWithdrawal = 0;  ///< the first two totalisers belong to the printer
constexpr int kSupply = 1;

int openReceipt(Printer& printer, Arguments& arguments) {
  if (const int result = beginDocument(printer, kReceipt, "COMPROVANTE NAO FISCAL"); result != kOk) return result;
  Document& document = printer.state.open;
  document = Document{};
  document.kind = kReceipt;
  document.number = printer.state.counters.coupon;
  document.opened = printer.now;
  setCustomer(printer, arguments, 0);
  printCustomer(printer);
  printer.tape.rule();
  return kOk;
}

int receive(Printer& printer, std::string_view totaliser, std::string_view amount) {
  if (const int result = inPhase(printer, kReceipt, Phase::kItems); result != kOk) return result;
  const auto index = findNamed(printer.state.totalisers, totaliser);
  if (!index) return kNotProgrammed;
  const auto value = parseMoney(trim(amount));
  if (!value) return kBadArgument;
  Item item;
  item.code = digits(*index + 1, 2);
  item.description = printer.state.totalisers[static_cast<std::size_t>(*index)].name;
  item.tax = *index;
  item.quantity = 1000;
  item.price = *value * 10;
  return addItem(printer, std::move(item));
}

int openWithFirst(Printer& printer, Arguments& arguments) {
  if (const int result = openReceipt(printer, arguments); result != kOk) return result;
  if (const int result = receive(printer, arguments.text(3), arguments.text(4)); result != kOk) return result;
  printer.tape.text(arguments.text(5), 4);
  return kOk;
}

/// A whole receipt in one call, paid exactly.
int receiveInOne(Printer& printer, Arguments& arguments) {
  int result = beginDocument(printer, kReceipt, "COMPROVANTE NAO FISCAL");
  if (result != kOk) return result;
  printer.state.open = Document{};
  printer.state.open.kind = kReceipt;
  printer.state.open.number = printer.state.counters.coupon;
  result = receive(printer, arguments.text(0), arguments.text(1));
  if (result == kOk) result = total(printer, kReceipt);
  const std::string form = arguments.trimmed(2);
  if (result == kOk)
    result = pay(printer, form.empty() ? "1" : form, std::to_string(printer.state.open.total()), 1, "");
  return result == kOk ? close(printer, kReceipt, "") : result;
}

int adjustReceiptSubtotal(Printer& printer, Arguments& arguments) {
  if (const int result = startTotalling(printer, kReceipt); result != kOk) return result;
  return adjustSubtotal(printer, kReceipt, arguments.text(0), arguments.text(1), arguments.text(2));
}

int startClosing(Printer& printer, Arguments& arguments) {
  const bool up = upper(arguments.trimmed(0)) == "A";
  if (const int result = startTotalling(printer, kReceipt); result != kOk) return result;
  const int result =
      adjustSubtotal(printer, kReceipt, arguments.text(0), arguments.text(1), arguments.text(up ? 2 : 3));
  return result == kOk ? total(printer, kReceipt) : result;
}

int cancelReceipt(Printer& printer, Arguments& arguments) {
  if (printer.state.open.kind == kReceipt && !arguments.trimmed(0).empty()) {
    printer.state.open.customer = arguments.trimmed(0).substr(0, 20);
  }
  return cancelOpen(printer, kReceipt);
}

Cents cashInDrawer(const State& state) {
  // The first payment form is cash, whatever it is named.
  return state.forms[0].total - state.day.change + state.totalisers[kSupply].total -
         state.totalisers[kWithdrawal].total;
}

/// Cash put into the drawer or taken out of it, one document each.
int moveCash(Printer& printer, int totaliser, const char* title, const std::string& amount, const std::string& form) {
  const auto value = parseMoney(amount);
  if (!value || *value < 1 || *value > 999'999'999) return kBadArgument;
  const auto index = findNamed(printer.state.forms, form.empty() ? "1" : form);
  if (!index) return kNotProgrammed;
  if (totaliser == kWithdrawal && *value > cashInDrawer(printer.state)) return kAmount;
  if (const int result = beginDocument(printer, Kind::kCash, title); result != kOk) return result;
  Named& place = printer.state.totalisers[static_cast<std::size_t>(totaliser)];
  place.total += *value;
  ++place.count;
  printer.tape.pair(place.name, money(*value));
  printer.tape.pair(printer.state.forms[static_cast<std::size_t>(*index)].name, money(*value));
  printer.finish(Kind::kCash, *value, false);
  return kOk;
}

int openDay(Printer& printer, Arguments& arguments) {
  if (printer.state.day.open && printer.state.day.opened.starts_with(printer.today())) return kDayHasSales;
  if (const int result = idle(printer); result != kOk) return result;
  if (const int result = needDay(printer); result != kOk) return result;
  const std::string amount = arguments.trimmed(0);
  const auto value = parseMoney(amount.empty() ? "0" : amount);
  if (!value) return kBadArgument;
  if (const int result = beginDocument(printer, Kind::kReport, "ABERTURA DO DIA"); result != kOk) return result;
  printer.tape.pair("GRANDE TOTAL", money(printer.state.grandTotal));
  printer.finish(Kind::kReport, 0, false);
  return *value == 0 ? kOk : moveCash(printer, kSupply, "SUPRIMENTO", amount, arguments.trimmed(1));
}

int openReport(Printer& printer, const std::string& which) {
  const auto index = findNamed(printer.state.reports, which.empty() ? "1" : which);
  if (!index) return kNotProgrammed;
  Named& report = printer.state.reports[static_cast<std::size_t>(*index)];
  if (const int result = beginDocument(printer, Kind::kReport, "RELATORIO GERENCIAL"); result != kOk) return result;
  ++printer.state.counters.reports;
  ++report.count;
  printer.state.openReport = *index;
  printer.state.open = Document{};
  printer.state.open.kind = Kind::kReport;
  printer.state.open.number = printer.state.counters.coupon;
  printer.tape.centred(report.name);
  printer.tape.rule();
  return kOk;
}

/// Prints into the open report; the plain form opens one first.
int reportText(Printer& printer, const std::string& text, bool opens) {
  if (opens && printer.state.open.kind == Kind::kNone) {
    if (const int result = openReport(printer, ""); result != kOk) return result;
  }
  if (printer.state.open.kind != Kind::kReport) return kNoDocument;
  printer.tape.text(text);
  return kOk;
}

int closeReport(Printer& printer, Arguments&) {
  if (printer.state.open.kind != Kind::kReport) return kNoDocument;
  printer.finish(Kind::kReport, 0, false);
  printer.state.open = Document{};
  return kOk;
}

/// Ends whatever reading or report is still on the paper.
int endReport(Printer& printer, Arguments& arguments) {
  if (printer.state.open.kind == Kind::kReport) return closeReport(printer, arguments);
  const bool closed = printer.state.lastKind == Kind::kReading || printer.state.lastKind == Kind::kReduction;
  return closed ? kOk : kNothing;  // readings end themselves
}

constexpr Command kCommands[] = {
    {"ECF_AbreRecebimentoNaoFiscalMFD", openReceipt},
    {"ECF_AbreRecebimentoNaoFiscal", openWithFirst},
    {"ECF_RecebimentoNaoFiscal", receiveInOne},
    {"ECF_EfetuaRecebimentoNaoFiscalMFD", [](Printer& p, Arguments& a) { return receive(p, a.text(0), a.text(1)); }},
    {"ECF_CancelaItemNaoFiscalMFD", [](Printer& p, Arguments& a) { return cancelItem(p, kReceipt, a.text(0)); }},
    {"ECF_AcrescimoItemNaoFiscalMFD",
     [](Printer& p, Arguments& a) { return adjustItem(p, kReceipt, a.text(0), a.text(1), a.text(2), a.text(3)); }},
    {"ECF_AcrescimoDescontoSubtotalRecebimentoMFD", adjustReceiptSubtotal},
    {"ECF_TotalizaRecebimentoMFD", [](Printer& p, Arguments&) { return total(p, kReceipt); }},
    {"ECF_IniciaFechamentoRecebimentoNaoFiscalMFD", startClosing},
    {"ECF_EfetuaFormaPagamentoNaoFiscal",
     [](Printer& p, Arguments& a) {
       return p.state.open.kind == kReceipt ? pay(p, a.text(0), a.text(1), 1, a.text(2)) : kNoDocument;
     }},
    {"ECF_FechaRecebimentoNaoFiscalMFD", [](Printer& p, Arguments& a) { return close(p, kReceipt, a.text(0)); }},
    {"ECF_CancelaRecebimentoNaoFiscalMFD", cancelReceipt},
    {"ECF_Suprimento",
     [](Printer& p, Arguments& a) { return moveCash(p, kSupply, "SUPRIMENTO", a.trimmed(0), a.trimmed(1)); }},
    {"ECF_FundoCaixa",
     [](Printer& p, Arguments& a) { return moveCash(p, kSupply, "FUNDO DE CAIXA", a.trimmed(0), a.trimmed(1)); }},
    {"ECF_Sangria", [](Printer& p, Arguments& a) { return moveCash(p, kWithdrawal, "SANGRIA", a.trimmed(0), ""); }},
    {"ECF_AberturaDoDia", openDay},
    {"ECF_AbreRelatorioGerencial", [](Printer& p, Arguments&) { return openReport(p, ""); }},
    {"ECF_AbreRelatorioGerencialMFD", [](Printer& p, Arguments& a) { return openReport(p, a.trimmed(0)); }},
    {"ECF_RelatorioGerencial", [](Printer& p, Arguments& a) { return reportText(p, a.text(0), true); }},
    {"ECF_RelatorioGerencialTEF", [](Printer& p, Arguments& a) { return reportText(p, a.text(0), true); }},
    {"ECF_UsaRelatorioGerencialMFD", [](Printer& p, Arguments& a) { return reportText(p, a.text(0), false); }},
    {"ECF_UsaRelatorioGerencialMFDTEF", [](Printer& p, Arguments& a) { return reportText(p, a.text(0), false); }},
    {"ECF_FechaRelatorioGerencial", closeReport},
    {"ECF_FechaRelatorioXouZ", endReport},
};

}  // namespace

std::span<const Command> receiptCommands() {
  return kCommands;
}

}  // namespace printer
