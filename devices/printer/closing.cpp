// Coupons from the subtotal on: totals, payments, closing, cancelling.
#include <algorithm>

#include "printer/commands.h"
#include "printer/documents.h"
#include "printer/sale.h"

namespace printer {

using namespace device;

namespace {

constexpr Kind kCoupon = Kind::kCoupon;

int startClosing(Printer& printer, Arguments& arguments) {
  if (const int result = startTotalling(printer, kCoupon); result != kOk) return result;
  const int result = adjustSubtotal(printer, kCoupon, arguments.text(0), arguments.text(1), arguments.text(2));
  return result == kOk ? total(printer, kCoupon) : result;
}

/// "A" takes the surcharge, "D" the discount, "X" both.
int startClosingBothWays(Printer& printer, Arguments& arguments) {
  const std::string way = upper(arguments.trimmed(0));
  if (way != "A" && way != "D" && way != "X") return kBadArgument;
  int result = startTotalling(printer, kCoupon);
  if (result == kOk && way != "D") result = adjustSubtotal(printer, kCoupon, "A", arguments.text(1), arguments.text(2));
  if (result == kOk && way != "A") result = adjustSubtotal(printer, kCoupon, "D", arguments.text(1), arguments.text(3));
  return result == kOk ? total(printer, kCoupon) : result;
}

int cancelSubtotalAdjustment(Printer& printer, Arguments& arguments) {
  if (const int result = inPhase(printer, kCoupon, Phase::kTotalling); result != kOk) return result;
  const std::string way = upper(arguments.trimmed(0));
  if (way != "A" && way != "D") return kBadArgument;
  Document& document = printer.state.open;
  Cents& value = way == "A" ? document.surcharge : document.discount;
  if (value == 0) return kNothing;
  // The discount was judged with the surcharge in the total: without it less than nothing could be left.
  if (way == "A" && document.total() <= value) return kAmount;
  printer.tape.pair(way == "A" ? "CANCELAMENTO ACRESCIMO" : "CANCELAMENTO DESCONTO", money(value));
  value = 0;
  return kOk;
}

int payInInstalments(Printer& printer, Arguments& arguments) {
  const std::string count = arguments.trimmed(2);
  const auto instalments = parseInteger(count.empty() ? "1" : count, 1, 24);
  if (!instalments) return kBadArgument;
  return pay(printer, arguments.text(0), arguments.text(1), static_cast<int>(*instalments), arguments.text(3));
}

/// The payment form by its number only.
int payByIndex(Printer& printer, const Arguments& arguments, const std::string& text) {
  const std::string index = arguments.trimmed(0);
  if (!allDigits(index)) return kBadArgument;
  return pay(printer, index, arguments.text(1), 1, text);
}

/// Prints a copy of the totals of the last coupon.
int printAdditional(Printer& printer) {
  const Document& last = printer.state.last;
  if (last.kind != kCoupon || last.cancelled) return kNothing;
  if (const int result = idle(printer); result != kOk) return result;
  printer.tape.centred("CUPOM ADICIONAL");
  printer.tape.pair("COO:" + digits(last.number, 6), "TOTAL " + printer.state.currency + " " + money(last.total()));
  printer.tape.cut();
  return kOk;
}

int closeCoupon(Printer& printer, std::string_view message) {
  const int result = close(printer, kCoupon, message);
  if (result == kOk && printer.setting("CupomAdicional") == "1") printAdditional(printer);
  return result;
}

/// Everything from the subtotal to the end in one call.
int closeInOne(Printer& printer, Arguments& arguments) {
  int result = startTotalling(printer, kCoupon);
  if (result == kOk && !arguments.trimmed(3).empty()) {
    result = adjustSubtotal(printer, kCoupon, arguments.text(1), arguments.text(2), arguments.text(3));
  }
  if (result == kOk) result = total(printer, kCoupon);
  if (result == kOk) result = pay(printer, arguments.text(0), arguments.text(4), 1, "");
  return result == kOk ? closeCoupon(printer, arguments.text(5)) : result;
}

int closeExactly(Printer& printer, Arguments& arguments) {
  int result = total(printer, kCoupon);
  const std::string amount = std::to_string(printer.state.open.total());
  if (result == kOk) result = pay(printer, arguments.text(0), amount, 1, "");
  return result == kOk ? closeCoupon(printer, arguments.text(1)) : result;
}

/// Cancels the coupon that was closed just before, on a document of its own.
int cancelClosed(Printer& printer) {
  State& state = printer.state;
  // Only the document printed last, and only on its own day: what stands between would have to be cancelled too.
  const bool possible = state.last.kind == kCoupon && !state.last.cancelled && state.lastKind == kCoupon &&
                        state.last.number == state.counters.coupon && state.day.open;
  if (!possible) return kNothing;
  if (const int result = needDay(printer); result != kOk) return result;
  ++state.counters.coupon;
  printer.head();
  printer.tape.centred("CANCELAMENTO DE CUPOM FISCAL");
  printer.tape.pair("COO CANCELADO:" + digits(state.last.number, 6), money(state.last.total()));
  countCoupon(state, state.last, -1);
  for (const Payment& payment : state.last.payments) {
    Named& form = state.forms[static_cast<std::size_t>(payment.form)];
    // The cash goes back over the counter: the drawer's totals follow.
    form.total -= payment.amount;
    --form.count;
  }
  state.day.change -= state.last.change();
  state.last.cancelled = true;
  ++state.counters.cancelledCoupons;
  printer.finish(kCoupon, state.last.total(), true, state.last.customer);
  return kOk;
}

int cancelCoupon(Printer& printer, Arguments&) {
  return printer.state.open.kind == Kind::kNone ? cancelClosed(printer) : cancelOpen(printer, kCoupon);
}

int cancelForCustomer(Printer& printer, Arguments& arguments) {
  Document& document = printer.state.open.kind == kCoupon ? printer.state.open : printer.state.last;
  if (!arguments.trimmed(0).empty()) document.customer = arguments.trimmed(0).substr(0, 20);
  return cancelCoupon(printer, arguments);
}

/// Moves an amount from one payment form to another: of the coupon being paid, or of the one closed just before.
int reversePayment(Printer& printer, Arguments& arguments) {
  State& state = printer.state;
  const bool paying = state.open.kind == kCoupon && state.open.phase == Phase::kPaying;
  if (!paying &&
      (state.open.kind != Kind::kNone || state.last.kind != kCoupon || state.last.cancelled || !state.day.open)) {
    return kNothing;
  }
  Document& document = paying ? state.open : state.last;
  const auto from = findNamed(state.forms, arguments.text(0));
  const auto to = findNamed(state.forms, arguments.text(1));
  const auto amount = parseMoney(arguments.trimmed(2));
  if (!from || !to) return kNotProgrammed;
  if (!amount || *amount < 1 || *from == *to) return kBadArgument;
  const auto found = std::find_if(document.payments.begin(), document.payments.end(), [&](const Payment& payment) {
    return payment.form == *from && !payment.linked && payment.amount >= *amount;
  });
  if (found == document.payments.end() || document.payments.size() >= kMostPayments) return kAmount;
  // The old payment stays on the coupon with what is left of it, even with nothing.
  found->amount -= *amount;
  document.payments.push_back({*to, *amount, 1, false});
  Named& source = state.forms[static_cast<std::size_t>(*from)];
  Named& target = state.forms[static_cast<std::size_t>(*to)];
  if (!paying) {
    source.total -= *amount;
    target.total += *amount;
    ++target.count;
  }
  printer.tape.pair("ESTORNO " + source.name + " PARA " + target.name, money(*amount));
  if (!paying) printer.tape.cut();
  return kOk;
}

constexpr Command kCommands[] = {
    {"ECF_IniciaFechamentoCupom", startClosing},
    {"ECF_IniciaFechamentoCupomMFD", startClosingBothWays},
    {"ECF_SubTotalizaCupomMFD", [](Printer& p, Arguments&) { return startTotalling(p, kCoupon); }},
    {"ECF_AcrescimoDescontoSubtotalMFD",
     [](Printer& p, Arguments& a) { return adjustSubtotal(p, kCoupon, a.text(0), a.text(1), a.text(2)); }},
    {"ECF_CancelaAcrescimoDescontoSubtotalMFD", cancelSubtotalAdjustment},
    {"ECF_TotalizaCupomMFD", [](Printer& p, Arguments&) { return total(p, kCoupon); }},
    {"ECF_EfetuaFormaPagamento", [](Printer& p, Arguments& a) { return pay(p, a.text(0), a.text(1), 1, ""); }},
    {"ECF_EfetuaFormaPagamentoDescricaoForma",
     [](Printer& p, Arguments& a) { return pay(p, a.text(0), a.text(1), 1, a.text(2)); }},
    {"ECF_EfetuaFormaPagamentoMFD", payInInstalments},
    {"ECF_EfetuaFormaPagamentoIndice", [](Printer& p, Arguments& a) { return payByIndex(p, a, ""); }},
    {"ECF_PagamentoIndiceDescricaoForma", [](Printer& p, Arguments& a) { return payByIndex(p, a, a.text(2)); }},
    {"ECF_TerminaFechamentoCupom", [](Printer& p, Arguments& a) { return closeCoupon(p, a.text(0)); }},
    {"ECF_FechaCupom", closeInOne},
    {"ECF_FechaCupomResumido", closeExactly},
    {"ECF_CupomAdicionalMFD", [](Printer& p, Arguments&) { return printAdditional(p); }},
    {"ECF_CancelaCupom", cancelCoupon},
    {"ECF_CancelaCupomMFD", cancelForCustomer},
    {"ECF_EstornoFormasPagamento", reversePayment},
};

}  // namespace

std::span<const Command> closingCommands() {
  return kCommands;
}

}  // namespace printer
