// Card receipts linked to a coupon's payment, the card mode, and the texts of a card terminal.
#include <unistd.h>

#include <algorithm>

#include "common/files.h"
#include "printer/commands.h"
#include "printer/documents.h"
#include "printer/sale.h"

namespace printer {

using namespace device;

namespace {

constexpr std::size_t kMostLines = 400;

int openLinked(Printer& printer, const std::string& form, const std::string& amount, const std::string& coupon) {
  State& state = printer.state;
  if (const int result = idle(printer); result != kOk) return result;
  const auto index = findNamed(state.forms, form);
  if (!index || !state.forms[static_cast<std::size_t>(*index)].linkable) return kNotProgrammed;
  auto& payments = state.last.payments;
  const auto payment = std::find_if(payments.begin(), payments.end(),
                                    [&](const Payment& p) { return p.form == *index && !p.linked && p.amount > 0; });
  if (state.last.cancelled || payment == payments.end()) return kNothing;
  const auto wanted = parseMoney(amount.empty() ? std::to_string(payment->amount) : amount);
  const auto number = parseInteger(coupon.empty() ? std::to_string(state.last.number) : coupon, 1, 999'999);
  if (!wanted || !number) return kBadArgument;
  // A receipt is for one payment as a whole.
  if (*wanted != payment->amount) return kAmount;
  if (*number != state.last.number) return kNothing;
  const std::int64_t before = state.last.number;
  if (const int result = beginDocument(printer, Kind::kLinked, "COMPROVANTE CREDITO OU DEBITO"); result != kOk)
    return result;
  ++state.counters.linked;
  payment->linked = true;
  state.open = Document{};
  state.open.kind = Kind::kLinked;
  state.open.number = state.counters.coupon;
  state.open.opened = printer.now;
  state.linked = {state.counters.coupon, before, *index, payment->instalments, *wanted, false};
  state.linkedLines.clear();
  printer.tape.pair("COO DO DOCUMENTO DE COMPRA:", digits(before, 6));
  printer.tape.pair("VALOR DA COMPRA " + state.currency, money(state.last.total()));
  printer.tape.pair(state.forms[static_cast<std::size_t>(*index)].name, money(*wanted));
  printer.tape.rule();
  return kOk;
}

int openSimple(Printer& printer, Arguments& arguments) {
  return openLinked(printer, arguments.text(0), arguments.trimmed(1), arguments.trimmed(2));
}

int openForCustomer(Printer& printer, Arguments& arguments) {
  const int result = openSimple(printer, arguments);
  if (result != kOk) return result;
  setCustomer(printer, arguments, 3);
  printCustomer(printer);
  return kOk;
}

int printText(Printer& printer, const std::string& text) {
  State& state = printer.state;
  if (state.open.kind != Kind::kLinked) return kNoDocument;
  if (state.linkedLines.size() >= kMostLines) return kFull;
  Tape part;
  part.text(text);
  for (const std::string& line : split(part.printed(), '\n')) {
    if (state.linkedLines.size() < kMostLines) state.linkedLines.push_back(line);
  }
  if (!state.linkedLines.empty()) state.linkedLines.pop_back();  // what follows the last line break
  printer.tape.text(text);
  return kOk;
}

int useText(Printer& printer, Arguments& arguments) {
  return printText(printer, arguments.text(0));
}

int closeLinked(Printer& printer, Arguments&) {
  State& state = printer.state;
  if (state.open.kind != Kind::kLinked) return kNoDocument;
  printer.finish(Kind::kLinked, state.linked.amount, false, state.open.customer);
  state.open = Document{};
  return kOk;
}

/// Prints the last card receipt again under `title`.
int printAgain(Printer& printer, const char* title) {
  State& state = printer.state;
  if (state.linked.number == 0 || state.lastKind != Kind::kLinked) return kNothing;
  if (const int result = beginDocument(printer, Kind::kLinked, "COMPROVANTE CREDITO OU DEBITO"); result != kOk)
    return result;
  printer.tape.centred(title);
  printer.tape.pair("COO DO DOCUMENTO DE COMPRA:", digits(state.linked.coupon, 6));
  for (const std::string& line : state.linkedLines) printer.tape.line(line);
  printer.finish(Kind::kLinked, state.linked.amount, false);
  return kOk;
}

template <const char* const& kTitle>
int again(Printer& printer, Arguments&) {
  return printAgain(printer, kTitle);
}

constexpr const char* kSecondCopy = "2a VIA";
constexpr const char* kReprint = "REIMPRESSAO";

int reverse(Printer& printer, Arguments& arguments) {
  State& state = printer.state;
  if (state.linked.number == 0 || state.linked.reversed) return kNothing;
  if (const int result = beginDocument(printer, Kind::kLinked, "ESTORNO DE COMPROVANTE CREDITO OU DEBITO");
      result != kOk) {
    return result;
  }
  if (!arguments.trimmed(0).empty()) printer.tape.line("CPF/CNPJ CONSUMIDOR: " + arguments.trimmed(0));
  printer.tape.pair("COO DO COMPROVANTE ESTORNADO:", digits(state.linked.number, 6));
  printer.tape.pair("VALOR ESTORNADO " + state.currency, money(state.linked.amount));
  state.linked.reversed = true;
  printer.finish(Kind::kLinked, state.linked.amount, true, arguments.trimmed(0).substr(0, 20));
  return kOk;
}

template <bool kOn>
int cardMode(Printer& printer, Arguments&) {
  if (printer.state.tefMode == kOn) return kOn ? kWrongPhase : kNothing;
  printer.state.tefMode = kOn;
  if (!kOn) printer.state.keyboardLocked = false;
  return kOk;
}

int lockKeyboard(Printer& printer, Arguments& arguments) {
  const std::string wanted = arguments.trimmed(0);
  if (wanted != "0" && wanted != "1") return kBadArgument;
  printer.state.keyboardLocked = wanted == "1";
  return kOk;
}

/// Prints the answer file of a card terminal, as a linked receipt or as a management report.
int printAnswerFile(Printer& printer, Arguments& arguments, const std::string& amount) {
  const std::string file = arguments.trimmed(0);
  const std::string which = arguments.trimmed(2);
  if (!plainName(file) || (which != "0" && which != "1")) return kBadArgument;
  std::string content;
  if (readWhole(home() + file, 65536, content) != ReadResult::kOk) return kFileError;
  if (which == "1") {
    int result = openLinked(printer, arguments.text(1), amount, "");
    if (result == kOk) result = printText(printer, content);
    return result == kOk ? closeLinked(printer, arguments) : result;
  }
  if (const int result = beginDocument(printer, Kind::kReport, "RELATORIO GERENCIAL"); result != kOk) return result;
  ++printer.state.counters.reports;
  printer.tape.text(content);
  printer.finish(Kind::kReport, 0, false);
  return kOk;
}

/// Waits until the file is there.
int awaitFile(Printer& printer, Arguments& arguments) {
  const std::string file = arguments.trimmed(0);
  const auto seconds = parseInteger(arguments.trimmed(1), 0, 60);
  if (!plainName(file) || !seconds) return kBadArgument;
  printer.state.keyboardLocked = arguments.trimmed(2) == "1";
  for (std::int64_t tenths = *seconds * 10; tenths >= 0; --tenths) {
    if (access((home() + file).c_str(), R_OK) == 0) return kOk;
    if (tenths > 0) usleep(100'000);
  }
  return kNothing;
}

int closeEither(Printer& printer, Arguments& arguments) {
  if (printer.state.open.kind != Kind::kReport) return closeLinked(printer, arguments);
  printer.finish(Kind::kReport, 0, false);
  printer.state.open = Document{};
  return kOk;
}

int anyNonFiscalText(Printer& printer, Arguments& arguments) {
  const Kind kind = printer.state.open.kind;
  if (kind == Kind::kLinked) return useText(printer, arguments);
  if (kind != Kind::kReport && kind != Kind::kReceipt) return kNoDocument;
  printer.tape.text(arguments.text(0));
  return kOk;
}

constexpr Command kCommands[] = {
    {"ECF_IniciaModoTEF", cardMode<true>},
    {"ECF_FinalizaModoTEF", cardMode<false>},
    {"ECF_TEF_TravarTeclado", lockKeyboard},
    {"ECF_AbreComprovanteNaoFiscalVinculado", openSimple},
    {"ECF_AbreComprovanteNaoFiscalVinculadoMFD", openForCustomer},
    {"ECF_UsaComprovanteNaoFiscalVinculado", useText},
    {"ECF_UsaComprovanteNaoFiscalVinculadoTEF", useText},
    {"ECF_EnviarTextoCNF", anyNonFiscalText},
    {"ECF_FechaComprovanteNaoFiscalVinculado", closeLinked},
    {"ECF_SegundaViaNaoFiscalVinculadoMFD", again<kSecondCopy>},
    {"ECF_SegundaViaCNFV", again<kSecondCopy>},
    {"ECF_ReimpressaoNaoFiscalVinculadoMFD", again<kReprint>},
    {"ECF_EstornoNaoFiscalVinculadoMFD", reverse},
    {"ECF_CancelamentoCNFV", reverse},
    {"ECF_TEF_ImprimirResposta", [](Printer& p, Arguments& a) { return printAnswerFile(p, a, ""); }},
    {"ECF_TEF_ImprimirRespostaCartao", [](Printer& p, Arguments& a) { return printAnswerFile(p, a, a.trimmed(3)); }},
    {"ECF_TEF_FechaRelatorio", closeEither},
    {"ECF_TEF_EsperarArquivo", awaitFile},
};

}  // namespace

std::span<const Command> linkedCommands() {
  return kCommands;
}

}  // namespace printer
