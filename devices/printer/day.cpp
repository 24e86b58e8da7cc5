// X readings, Z reductions and readings of the fiscal memory.
#include "common/calendar.h"
#include "printer/commands.h"
#include "printer/documents.h"
#include "printer/memory.h"

namespace printer {

using namespace device;

namespace {

int readX(Printer& printer, Arguments&) {
  if (const int result = beginDocument(printer, Kind::kReading, "LEITURA X"); result != kOk) return result;
  printer.tape.rule();
  printDay(printer.tape, printer.state);
  printer.finish(Kind::kReading, 0, false);
  return kOk;
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
  // The date is a confirmation: a reduction for another day is none.
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
  if (const int result = beginDocument(printer, Kind::kReading, "LEITURA MEMORIA FISCAL"); result != kOk) return result;
  printer.tape.text(memoryText(range, style == "C"), 40000);
  printer.finish(Kind::kReading, 0, false);
  return kOk;
}

constexpr Command kCommands[] = {
    {"ECF_LeituraX", readX},
    {"Bematech_FI_LeituraX", readX},
    {"ECF_FechamentoDoDia", [](Printer& p, Arguments&) { return reduce(p); }},
    {"ECF_ReducaoZ", reduceChecked},
    {"ECF_ReducaoZAjustaDataHora", reduceAndSetClock},
    {"ECF_LeituraMemoriaFiscalData", printMemory<reductionsByDate, false>},
    {"ECF_LeituraMemoriaFiscalDataMFD", printMemory<reductionsByDate, true>},
    {"ECF_LeituraMemoriaFiscalReducao", printMemory<reductionsByNumber, false>},
    {"ECF_LeituraMemoriaFiscalReducaoMFD", printMemory<reductionsByNumber, true>},
};

}  // namespace

std::span<const Command> dayCommands() {
  return kCommands;
}

}  // namespace printer
