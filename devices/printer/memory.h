// The fiscal memory: the Z reductions that were made, as ranges and as text.
#pragma once

#include <span>
#include <string>

#include "printer/printer.h"

namespace printer {

struct MemoryRange {
  bool valid = false;
  std::span<const Reduction> reductions;
};

/// Reductions whose movement lies between two dates, or whose numbers lie between two numbers, both included.
MemoryRange reductionsByDate(Printer& printer, const std::string& first, const std::string& last);
MemoryRange reductionsByNumber(Printer& printer, const std::string& first, const std::string& last);

/// One line a reduction and the sums; with every total when `complete`.
std::string memoryText(const MemoryRange& range, bool complete);

/// What is left of the day's gross after cancellations, discounts and surcharges.
Cents netOfDay(const Day& day);

}  // namespace printer
