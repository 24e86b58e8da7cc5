// Reductions stand in the order in which they were made: numbers and dates only rise, so a range is one stretch.
#include "printer/memory.h"

#include <algorithm>

#include "common/calendar.h"

namespace printer {

using namespace device;

namespace {

template <class Key>
MemoryRange between(const std::vector<Reduction>& all, const Key& first, const Key& last, Key Reduction::*key) {
  const auto begin = std::find_if(all.begin(), all.end(), [&](const Reduction& r) { return r.*key >= first; });
  const auto end = std::find_if(begin, all.end(), [&](const Reduction& r) { return r.*key > last; });
  return {true, std::span(begin, end)};
}

void row(std::string& text, std::string_view left, const std::string& right) {
  Tape tape;
  tape.pair(left, right);
  text += tape.printed();
}

}  // namespace

MemoryRange reductionsByDate(Printer& printer, const std::string& first, const std::string& last) {
  const auto from = parseDate(first);
  const auto to = parseDate(last);
  if (!from || !to || *from > *to) return {};
  return between(printer.state.reductions, *from, *to, &Reduction::movement);
}

MemoryRange reductionsByNumber(Printer& printer, const std::string& first, const std::string& last) {
  const auto from = parseInteger(first, 0, 9999);
  const auto to = parseInteger(last, 0, 9999);
  if (!from || !to || *from > *to) return {};
  return between(printer.state.reductions, *from, *to, &Reduction::number);
}

std::string memoryText(const MemoryRange& range, bool complete) {
  std::string text;
  Cents gross = 0;
  for (const Reduction& reduction : range.reductions) {
    row(text, "CRZ " + digits(reduction.number, 4) + " " + printedDate(reduction.movement),
        "VB " + money(reduction.gross));
    gross += reduction.gross;
    if (!complete) continue;
    row(text, "  COO " + digits(reduction.firstCoupon, 6) + " A " + digits(reduction.coupon, 6),
        "GT " + money(reduction.grandTotal));
    row(text, "  CANC " + money(reduction.cancelled),
        "DESC " + money(reduction.discounts) + " ACR " + money(reduction.surcharges));
  }
  row(text, "REDUCOES: " + std::to_string(range.reductions.size()), "VENDA BRUTA " + money(gross));
  return text;
}

Cents netOfDay(const Day& day) {
  return day.gross - day.cancelled - day.discounts - day.discountsService + day.surcharges + day.surchargesService;
}

}  // namespace printer
