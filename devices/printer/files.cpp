// Readings that go into a file beside the library instead of onto the paper.
#include "common/files.h"

#include "common/calendar.h"
#include "printer/commands.h"
#include "printer/documents.h"
#include "printer/memory.h"
#include "printer/readings.h"

namespace printer {

using namespace device;

namespace {

/// Writes a file of the printer's own naming: ecf-<name>.txt.
int writeOwn(Printer& printer, std::string_view name, std::string_view content) {
  return replaceFile(printer.prefix + std::string(name) + ".txt", content) ? kOk : kFileError;
}

/// Writes the file that the caller names.
int writeNamed(const std::string& name, std::string_view content) {
  // The host names the file: it must stay beside the device and replace nothing of its own.
  if (!plainName(name)) return kBadArgument;
  return replaceFile(home() + name, content) ? kOk : kFileError;
}

std::string machine() {
  return "ECF " + std::string(kModel) + " " + std::string(kSerialNumber) + "\n";
}

MemoryRange allReductions(Printer& printer) {
  return {true, printer.state.reductions};
}

/// One master line a reduction (60M) and one line for each tax place that sold something (60A).
std::string type60(const MemoryRange& range, bool master, bool analytic) {
  std::string text;
  for (const Reduction& r : range.reductions) {
    const std::string key = r.movement + std::string(kSerialNumber);
    if (master) {
      text += "60M" + key + digits(r.firstCoupon, 6) + digits(r.coupon, 6) + digits(r.number, 6) +
              digits(r.restarts, 3) + amount(r.gross, 16) + amount(r.grandTotal, 16) + "\n";
    }
    const std::vector<std::string> taxes = split(r.taxes, ' ');
    for (std::size_t i = 0; analytic && i < taxes.size(); ++i) {
      const auto value = parseInteger(taxes[i], 0, 999'999'999'999);
      if (value && *value > 0) text += "60A" + key + digits(static_cast<int>(i) + 1, 4) + amount(*value, 12) + "\n";
    }
  }
  return text;
}

template <bool kMaster, bool kAnalytic, const char* const& kName>
int writeType60(Printer& printer, Arguments&) {
  if (printer.state.reductions.empty()) return kNothing;
  return writeOwn(printer, kName, type60(allReductions(printer), kMaster, kAnalytic));
}

constexpr const char* kBoth = "tipo60";
constexpr const char* kMasters = "tipo60m";
constexpr const char* kAnalytics = "tipo60a";

/// Number of the report, file, first and last date, then the company's data, which go into the head of the file.
int writeSintegra(Printer& printer, Arguments& arguments) {
  if (arguments.number(0) < 0) return kBadArgument;
  const MemoryRange range = reductionsByDate(printer, arguments.trimmed(2), arguments.trimmed(3));
  if (!range.valid) return kBadArgument;
  std::string head = "10" + *parseDate(arguments.trimmed(2)) + *parseDate(arguments.trimmed(3));
  for (std::size_t i = 4; i < arguments.size(); ++i) head += " " + arguments.trimmed(i).substr(0, 35);
  return writeNamed(arguments.trimmed(1), head + "\n" + type60(range, true, true));
}

int writeX(Printer& printer, Arguments&) {
  if (const int result = idle(printer); result != kOk) return result;
  Tape paper;
  paper.centred("LEITURA X");
  printDay(paper, printer.state);
  return writeOwn(printer, "leiturax", paper.printed());
}

template <MemoryRange (*kRange)(Printer&, const std::string&, const std::string&), bool kStyled>
int writeMemory(Printer& printer, Arguments& arguments) {
  const MemoryRange range = kRange(printer, arguments.trimmed(0), arguments.trimmed(1));
  const std::string style = kStyled ? upper(arguments.trimmed(2)) : "C";
  if (!range.valid || (style != "C" && style != "S")) return kBadArgument;
  return writeOwn(printer, "memoria", memoryText(range, style == "C"));
}

int writeSummary(Printer& printer, Arguments&) {
  if (printer.state.reductions.empty()) return kNothing;
  const std::span<const Reduction> last = std::span(printer.state.reductions).last(1);
  return writeOwn(printer, "mapa", machine() + memoryText({true, last}, true));
}

int writeReductions(Printer& printer, Arguments& arguments) {
  const MemoryRange range = reductionsByNumber(printer, arguments.trimmed(0), arguments.trimmed(1));
  return range.valid ? writeOwn(printer, "reducoes", machine() + memoryText(range, true)) : kBadArgument;
}

/// The register of fiscal data of today, under a name made from the date; the name is answered.
int writeRegister(Printer& printer, Arguments& arguments) {
  std::string text = machine();
  for (const Entry& entry : printer.state.documents) {
    if (entry.when.starts_with(printer.today())) text += digits(entry.number, 6) + " " + amount(entry.total) + "\n";
  }
  const int result = writeOwn(printer, "rfd-" + printer.today(), text);
  if (result == kOk) arguments.answer(0, "ecf-rfd-" + printer.today() + ".txt");
  return result;
}

std::string kindName(Kind kind) {
  constexpr const char* kNames[] = {"-", "CF", "CNF", "CCD", "RG", "RZ", "LX", "CX"};
  return kNames[static_cast<std::size_t>(kind)];
}

std::string entryLine(const Entry& entry) {
  return digits(entry.number, 6) + " " + padded(kindName(entry.kind), 3) + " " + printedDate(entry.when) + " " +
         printedTime(entry.when) + " " + amount(entry.total) + " " + (entry.cancelled ? "C" : "N") + " " +
         entry.customer + "\n";
}

/// Which documents a download takes: "0" all, "1" between dates, "2" between coupon numbers.
bool selected(const Entry& entry, const std::string& kind, const std::string& first, const std::string& last) {
  if (kind == "0") return true;
  // Both are texts of fixed width, so they compare as texts.
  const std::string key = kind == "1" ? entry.when.substr(0, 8) : digits(entry.number, 6);
  return key >= first && key <= last;
}

int writeDocuments(Printer& printer, Arguments& arguments) {
  const std::string kind = arguments.trimmed(1);
  std::string limits[2];
  for (std::size_t i = 0; i < 2 && kind != "0"; ++i) {
    const std::string text = arguments.trimmed(2 + i);
    if (kind == "1") {
      const auto date = parseDate(text);
      if (!date) return kBadArgument;
      limits[i] = *date;
    } else {
      const auto number = parseInteger(text, 0, 999'999);
      if (!number || kind != "2") return kBadArgument;
      limits[i] = digits(*number, 6);
    }
  }
  std::string text = machine();
  for (const Entry& entry : printer.state.documents) {
    if (selected(entry, kind, limits[0], limits[1])) text += entryLine(entry);
  }
  return writeNamed(arguments.trimmed(0), text);
}

int writeFirmware(Printer&, Arguments& arguments) {
  return writeNamed(arguments.trimmed(0), machine() + "SOFTWARE BASICO " + std::string(kFirmware) + "\n");
}

int writeWholeMemory(Printer& printer, Arguments& arguments) {
  return writeNamed(arguments.trimmed(0), machine() + memoryText(allReductions(printer), true));
}

int reproduceMemory(Printer& printer, Arguments& arguments) {
  const std::string kind = arguments.trimmed(1);
  if (kind != "0" && kind != "1" && kind != "2") return kBadArgument;
  const std::string first = arguments.trimmed(2);
  const std::string last = arguments.trimmed(3);
  const MemoryRange range = kind == "0"   ? allReductions(printer)
                            : kind == "1" ? reductionsByDate(printer, first, last)
                                          : reductionsByNumber(printer, first, last);
  return range.valid ? writeNamed(arguments.trimmed(0), machine() + memoryText(range, true)) : kBadArgument;
}

/// Turns an earlier download into another form: "0" as it is, "1" fields divided by semicolons.
int reformat(Printer&, Arguments& arguments) {
  const std::string source = arguments.trimmed(0);
  const std::string form = arguments.trimmed(2);
  if (!plainName(source) || (form != "0" && form != "1")) return kBadArgument;
  std::string content;
  if (readWhole(home() + source, 1 << 20, content) != ReadResult::kOk) return kFileError;
  std::string result;
  for (const char c : content) {
    const bool repeated = c == ' ' && !result.empty() && result.back() == ';';
    if (form == "0" || (c != ' ' && c != '\r')) {
      result += c;
    } else if (c == ' ' && !repeated) {
      result += ';';
    }
  }
  return writeNamed(arguments.trimmed(1), result);
}

/// Goods and services of the last coupon, when its date lies between the two given.
int writeGoods(Printer& printer, Arguments& arguments) {
  const auto first = parseDate(arguments.trimmed(1));
  const auto last = parseDate(arguments.trimmed(2));
  if (!first || !last) return kBadArgument;
  const Document& coupon = printer.state.last;
  const std::string date = coupon.opened.substr(0, 8);
  std::string text = machine();
  for (const Item& item : coupon.items) {
    if (coupon.kind != Kind::kCoupon || date < *first || date > *last) break;
    text += padded(item.code, 20) + padded(item.description, 29) + padded(item.unit, 3) + amount(item.price, 13) + "\n";
  }
  return writeNamed(arguments.trimmed(0), text);
}

int writeDocumentsOfDate(Printer& printer, Arguments& arguments) {
  const auto date = parseDate(arguments.trimmed(1));
  if (!date) return kBadArgument;
  std::string text = "E01" + std::string(kSerialNumber) + *date + "\n";
  for (const Entry& entry : printer.state.documents) {
    if (entry.when.starts_with(*date)) text += "E14" + entryLine(entry);
  }
  return writeNamed(arguments.trimmed(0), text);
}

constexpr Command kCommands[] = {
    {"ECF_GeraRFD", writeRegister},
    {"ECF_MapaResumo", writeSummary},
    {"ECF_MapaResumoMFD", writeSummary},
    {"ECF_DadosReducaoMFD", writeReductions},
    {"ECF_RegistrosTipo60", writeType60<true, true, kBoth>},
    {"ECF_RelatorioTipo60Mestre", writeType60<true, false, kMasters>},
    {"ECF_RelatorioTipo60Analitico", writeType60<false, true, kAnalytics>},
    {"ECF_RelatorioTipo60AnaliticoMFD", writeType60<false, true, kAnalytics>},
    {"ECF_RelatorioSintegraMFD", writeSintegra},
    {"ECF_ArquivoSintegra2004MFD", writeSintegra},
    {"ECF_LeituraXSerial", writeX},
    {"ECF_LeituraMemoriaFiscalSerialData", writeMemory<reductionsByDate, false>},
    {"ECF_LeituraMemoriaFiscalSerialDataMFD", writeMemory<reductionsByDate, true>},
    {"ECF_LeituraMemoriaFiscalSerialReducao", writeMemory<reductionsByNumber, false>},
    {"ECF_LeituraMemoriaFiscalSerialReducaoMFD", writeMemory<reductionsByNumber, true>},
    {"ECF_DownloadSB", writeFirmware},
    {"ECF_DownloadMF", writeWholeMemory},
    {"ECF_DownloadMFD", writeDocuments},
    {"ECF_FormatoDadosMFD", reformat},
    {"ECF_CapturaDocumentos", writeDocuments},
    {"ECF_TabelaMercadoriasServicos3404", writeGoods},
    {"ECF_ReproduzirMemoriaFiscalMFD", reproduceMemory},
    {"ECF_GeraRegistrosCAT52MFD", writeDocumentsOfDate},
};

}  // namespace

std::span<const Command> fileCommands() {
  return kCommands;
}

}  // namespace printer
