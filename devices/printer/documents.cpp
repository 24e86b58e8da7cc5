// Numbers are taken when a document begins, so that a cancelled one has its number too.
#include "printer/documents.h"

#include "common/calendar.h"
#include "printer/memory.h"
#include "printer/sale.h"

namespace printer {

using namespace device;

namespace {

constexpr std::string_view kFreeNames[] = {"FF SUBSTITUICAO", "II ISENTO", "NN NAO TRIBUTADO"};

/// Card payments of the last coupon whose receipt was never printed; it is too late for them now.
void countMissingReceipts(State& state) {
  if (state.last.cancelled) return;
  for (Payment& payment : state.last.payments) {
    if (payment.linked || !state.forms[static_cast<std::size_t>(payment.form)].linkable) continue;
    payment.linked = true;
    ++state.counters.notIssued;
  }
}

void clearDay(State& state) {
  state.day = Day{};
  state.taxes.assign(kTaxPlaces, 0);
  for (auto* const table : {&state.forms, &state.totalisers, &state.reports}) {
    for (Named& row : *table) row.total = row.count = 0;
  }
}

}  // namespace

int idle(Printer& printer) {
  const State& state = printer.state;
  if (state.open.kind == Kind::kCoupon && printer.setting("FechaAutomatico") == "1") finishOpenCoupon(printer);
  return state.open.kind == Kind::kNone ? kOk : kDocumentOpen;
}

int needDay(Printer& printer) {
  State& state = printer.state;
  if (state.day.open && !state.day.opened.starts_with(printer.today())) {
    if (printer.setting("Zautomatica") != "1") return kReductionPending;
    if (const int result = reduce(printer); result != kOk) return result;
  }
  if (state.day.open) return kOk;
  // Once its day is reduced a printer sells nothing more until the date changes.
  if (state.closedDate == printer.today()) return kDayClosed;
  if (state.reductions.size() >= kMostReductions) return kFull;
  state.day = Day{};
  state.day.open = true;
  state.day.opened = printer.now;
  state.day.firstCoupon = state.counters.coupon + 1;
  state.day.startGrandTotal = state.grandTotal;
  return kOk;
}

int beginDocument(Printer& printer, Kind kind, std::string_view title) {
  State& state = printer.state;
  if (const int result = idle(printer); result != kOk) return result;
  const bool reading = kind == Kind::kReading || kind == Kind::kReduction;
  if (!reading) {
    if (const int result = needDay(printer); result != kOk) return result;
  }
  if (kind == Kind::kCoupon || kind == Kind::kReduction) countMissingReceipts(state);
  ++state.counters.coupon;
  if (kind == Kind::kCoupon) ++state.counters.fiscal;
  if (kind == Kind::kReceipt || kind == Kind::kCash) ++state.counters.nonFiscal;
  printer.head();
  if (kind != Kind::kCoupon && !reading) printer.tape.centred("NAO E DOCUMENTO FISCAL");
  printer.tape.centred(title);
  return kOk;
}

void printDay(Tape& tape, const State& state) {
  const Day& day = state.day;
  const std::pair<const char*, std::int64_t> counters[] = {{"CRO", state.counters.restarts},
                                                           {"CRZ", state.counters.reductions},
                                                           {"CCF", state.counters.fiscal},
                                                           {"GNF", state.counters.nonFiscal},
                                                           {"CDC", state.counters.linked},
                                                           {"GRG", state.counters.reports},
                                                           {"CUPONS CANCELADOS", state.counters.cancelledCoupons}};
  for (const auto& [name, value] : counters) tape.pair(name, digits(value, 6));
  tape.rule();
  const std::pair<const char*, Cents> sums[] = {{"GRANDE TOTAL", state.grandTotal},
                                                {"VENDA BRUTA DIARIA", day.gross},
                                                {"CANCELAMENTO", day.cancelled},
                                                {"DESCONTO", day.discounts + day.discountsService},
                                                {"ACRESCIMO", day.surcharges + day.surchargesService},
                                                {"VENDA LIQUIDA", netOfDay(day)},
                                                {"TROCO", day.change}};
  for (const auto& [name, value] : sums) tape.pair(name, money(value));
  tape.rule();
  for (std::size_t i = 0; i < state.rates.size(); ++i) {
    const Rate& rate = state.rates[i];
    tape.pair((rate.service ? "S" : "T") + digits(static_cast<std::int64_t>(i) + 1, 2) + " " +
                  fixedPoint(rate.hundredths, 2) + "%",
              money(state.taxes[i]));
  }
  for (std::size_t i = 0; i < std::size(kFreeNames); ++i) {
    tape.pair(kFreeNames[i], money(state.taxes[kSubstitution + i]));
  }
  tape.rule();
  for (const Named& form : state.forms)
    tape.pair(form.name + " (" + std::to_string(form.count) + ")", money(form.total));
  for (const Named& place : state.totalisers) {
    tape.pair(place.name + " (" + std::to_string(place.count) + ")", money(place.total));
  }
}

int reduce(Printer& printer) {
  State& state = printer.state;
  if (const int result = idle(printer); result != kOk) return result;
  if (!state.day.open && state.closedDate == printer.today()) return kDayClosed;
  if (state.reductions.size() >= kMostReductions) return kFull;
  const std::string movement = state.day.open ? state.day.opened.substr(0, 8) : printer.today();
  ++state.counters.reductions;
  if (const int result = beginDocument(printer, Kind::kReduction, "REDUCAO Z"); result != kOk) return result;
  printer.tape.pair("MOVIMENTO DO DIA", printedDate(movement));
  printer.tape.rule();
  printDay(printer.tape, state);
  printer.finish(Kind::kReduction, netOfDay(state.day), false);
  Reduction reduction;
  reduction.number = state.counters.reductions;
  reduction.coupon = state.counters.coupon;
  reduction.firstCoupon = state.day.open ? state.day.firstCoupon : state.counters.coupon;
  reduction.restarts = state.counters.restarts;
  reduction.made = printer.now;
  reduction.movement = movement;
  reduction.gross = state.day.gross;
  reduction.cancelled = state.day.cancelled;
  reduction.discounts = state.day.discounts + state.day.discountsService;
  reduction.surcharges = state.day.surcharges + state.day.surchargesService;
  reduction.startGrandTotal = state.day.open ? state.day.startGrandTotal : state.grandTotal;
  reduction.grandTotal = state.grandTotal;
  for (const Cents value : state.taxes) reduction.taxes += (reduction.taxes.empty() ? "" : " ") + std::to_string(value);
  state.reductions.push_back(reduction);
  ++state.counters.tapes;
  // The movement's date and not today's: a reduction that was late leaves today open.
  state.closedDate = movement;
  clearDay(state);
  return kOk;
}

}  // namespace printer
