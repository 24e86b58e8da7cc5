// What every printed document needs: no other one open, a day that is open, a head. Opening a day may first have to end
// the day before, with a document of its own.
#pragma once

#include <string_view>

#include "printer/printer.h"

namespace printer {

/// kOk when no document is open. An open coupon is finished first when that is switched on.
int idle(Printer& printer);
/// Opens the day when needed; kDayClosed or kReductionPending when it cannot be.
int needDay(Printer& printer);
/// Starts a document: checks idle and day, takes the next number, prints the head and `title`.
int beginDocument(Printer& printer, Kind kind, std::string_view title);
/// The day's counters and totals, as X readings and Z reductions show them.
void printDay(Tape& tape, const State& state);
/// Prints the Z reduction and closes the day.
int reduce(Printer& printer);

}  // namespace printer
