// X readings, Z reductions and readings of the fiscal memory.
#include "common/calendar.h"
#include "printer/memory.h"
#include "printer/sale.h"

namespace printer {

using namespace device;

namespace {

constexpr std::string_view kFreeNames[] = {"FF SUBSTITUICAO", "II ISENTO", "NN NAO TRIBUTADO"};

}  // namespace

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

namespace {

int readX(Printer& printer, Arguments&) {
  if (const int result = printer.begin(Kind::kReading, "LEITURA X"); result != kOk) return result;
  printer.tape.rule();
  printDay(printer.tape, printer.state);
  printer.finish(Kind::kReading, 0, false);
  return kOk;
}

void clearDay(State& state) {
  state.day = Day{};
  state.taxes.assign(kTaxPlaces, 0);
  for (auto* const table : {&state.forms, &state.totalisers, &state.reports}) {
    for (Named& row : *table) row.total = row.count = 0;
  }
}

/// Date and time arguments: both empty, or a date and time the calendar has. Sets `when` in the second case.
bool readMoment(Arguments& arguments, std::string& when) {
  const std::string date = arguments.trimmed(0);
  std::string time = arguments.trimmed(1);
  if (date.empty() && time.empty()) return true;
  std::erase(time, ':');
  const auto day = parseDate(date);
  if (!day || !parseMoment(*day + time)) return false;
  when = *day + time;
  return true;
}

int reduceChecked(Printer& printer, Arguments& arguments) {
  std::string when;
  if (!readMoment(arguments, when)) return kBadArgument;
  if (!when.empty() && when.substr(0, 8) != printer.today()) return kBadArgument;
  return reduce(printer);
}

int reduceAndSetClock(Printer& printer, Arguments& arguments) {
  std::string when;
  if (!readMoment(arguments, when) || when.empty()) return kBadArgument;
  const int result = reduce(printer);
  if (result == kOk) printer.state.clockOffset += secondsBetween(printer.now, when);
  return result;
}

template <MemoryRange (*kRange)(Printer&, const std::string&, const std::string&), bool kStyled>
int printMemory(Printer& printer, Arguments& arguments) {
  const MemoryRange range = kRange(printer, arguments.trimmed(0), arguments.trimmed(1));
  const std::string style = kStyled ? upper(arguments.trimmed(2)) : "C";
  if (!range.valid || (style != "C" && style != "S")) return kBadArgument;
  if (const int result = printer.begin(Kind::kReading, "LEITURA MEMORIA FISCAL"); result != kOk) return result;
  printer.tape.text(memoryText(range, style == "C"), 40000);
  printer.finish(Kind::kReading, 0, false);
  return kOk;
}

/// Ends whatever reading or report is still on the paper.
int endReport(Printer& printer, Arguments& arguments) {
  if (printer.state.open.kind == Kind::kReport) {
    return findCommand("ECF_FechaRelatorioGerencial")->handler(printer, arguments);
  }
  const bool closed = printer.state.lastKind == Kind::kReading || printer.state.lastKind == Kind::kReduction;
  return closed ? kOk : kNothing;  // readings end themselves
}

constexpr Command kCommands[] = {
    {"ECF_LeituraX", readX},
    {"Bematech_FI_LeituraX", readX},
    {"ECF_FechamentoDoDia", [](Printer& p, Arguments&) { return reduce(p); }},
    {"ECF_ReducaoZ", reduceChecked},
    {"ECF_ReducaoZAjustaDataHora", reduceAndSetClock},
    {"ECF_FechaRelatorioXouZ", endReport},
    {"ECF_LeituraMemoriaFiscalData", printMemory<reductionsByDate, false>},
    {"ECF_LeituraMemoriaFiscalDataMFD", printMemory<reductionsByDate, true>},
    {"ECF_LeituraMemoriaFiscalReducao", printMemory<reductionsByNumber, false>},
    {"ECF_LeituraMemoriaFiscalReducaoMFD", printMemory<reductionsByNumber, true>},
};

}  // namespace

int reduce(Printer& printer) {
  State& state = printer.state;
  if (const int result = printer.idle(); result != kOk) return result;
  if (!state.day.open && state.closedDate == printer.today()) return kDayClosed;
  if (state.reductions.size() >= kMostReductions) return kFull;
  const std::string movement = state.day.open ? state.day.opened.substr(0, 8) : printer.today();
  ++state.counters.reductions;
  if (const int result = printer.begin(Kind::kReduction, "REDUCAO Z"); result != kOk) return result;
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
  state.closedDate = movement;
  clearDay(state);
  return kOk;
}

std::span<const Command> dayCommands() {
  return kCommands;
}

}  // namespace printer
