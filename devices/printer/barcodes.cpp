// Bar codes on receipts and reports, drawn as text; check digits are real.
#include <algorithm>

#include "printer/commands.h"
#include "printer/printer.h"

namespace printer {

using namespace device;

namespace {

/// Height, width, text position, font and margin of the bars.
int configure(Printer& printer, Arguments& arguments) {
  constexpr std::pair<int, int> kLimits[] = {{1, 255}, {0, 2}, {0, 3}, {0, 1}, {0, 575}};
  for (std::size_t i = 0; i < std::size(kLimits); ++i) {
    if (arguments.number(i) < kLimits[i].first || arguments.number(i) > kLimits[i].second) return kBadArgument;
  }
  State& state = printer.state;
  state.barcodeHeight = arguments.number(0);
  state.barcodeWidth = arguments.number(1);
  state.barcodeText = arguments.number(2);
  state.barcodeFont = arguments.number(3);
  state.barcodeMargin = arguments.number(4);
  return kOk;
}

/// Two rows of bars that differ with the bytes, then the text unless it is switched off.
int draw(Printer& printer, std::string_view symbology, const std::string& code) {
  if (printer.state.open.kind == Kind::kCoupon) return kDocumentOpen;
  std::string bars;
  for (const char c : code) {
    const auto byte = static_cast<unsigned char>(c);
    bars += (byte & 1U) != 0 ? "||" : "| ";
    bars += (byte & 2U) != 0 ? "|" : " ";
  }
  for (int row = 0; row < 2; ++row) printer.tape.centred(bars);
  if (printer.state.barcodeText != 0) printer.tape.centred(code);
  printer.tape.centred(symbology);
  return kOk;
}

/// Sum of the digits with weights 3 and 1 from the right, as EAN and UPC define it.
int retailCheckDigit(std::string_view number) {
  int sum = 0;
  int weight = 3;
  for (auto it = number.rbegin(); it != number.rend(); ++it, weight = 4 - weight) sum += (*it - '0') * weight;
  return (10 - sum % 10) % 10;
}

template <std::size_t kDigits, const char* const& kName>
int retail(Printer& printer, Arguments& arguments) {
  std::string code = arguments.trimmed(0);
  if (!allDigits(code) || (code.size() != kDigits && code.size() != kDigits + 1)) return kBadArgument;
  const int check = retailCheckDigit(std::string_view(code).substr(0, kDigits));
  if (code.size() == kDigits) code += static_cast<char>('0' + check);
  if (code.back() - '0' != check) return kBadArgument;
  return draw(printer, kName, code);
}

template <std::size_t kMost, bool kEven, const char* const& kLetters, const char* const& kName>
int free(Printer& printer, Arguments& arguments) {
  const std::string code = arguments.trimmed(0);
  const bool known = code.find_first_not_of(kLetters) == std::string::npos;
  if (code.empty() || code.size() > kMost || !known || (kEven && code.size() % 2 != 0)) return kBadArgument;
  return draw(printer, kName, code);
}

/// Correction level, height, width, format (0 to 8, 1 to 8, 1 to 4, 0 or 1), text.
int stacked(Printer& printer, Arguments& arguments) {
  constexpr std::pair<int, int> kLimits[] = {{0, 8}, {1, 8}, {1, 4}, {0, 1}};
  for (std::size_t i = 0; i < std::size(kLimits); ++i) {
    if (arguments.number(i) < kLimits[i].first || arguments.number(i) > kLimits[i].second) return kBadArgument;
  }
  const std::string code = arguments.text(4);
  if (code.empty() || code.size() > 900) return kBadArgument;
  return draw(printer, "PDF417", code);
}

constexpr const char* kEan13 = "EAN-13";
constexpr const char* kEan8 = "EAN-8";
constexpr const char* kUpcA = "UPC-A";
constexpr const char* kUpcE = "UPC-E";
constexpr const char* kCodabar = "CODABAR";
constexpr const char* kCode39 = "CODE 39";
constexpr const char* kItf = "ITF";
constexpr const char* kCodabarLetters = "0123456789-$:/.+ABCDabcd";
constexpr const char* kCode39Letters = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%";
constexpr const char* kItfLetters = "0123456789";

constexpr Command kCommands[] = {
    {"ECF_ConfiguraCodigoBarrasMFD", configure},
    {"ECF_CodigoBarrasCODABARMFD", free<25, false, kCodabarLetters, kCodabar>},
    {"ECF_CodigoBarrasPDF417MFD", stacked},
    {"ECF_CodigoBarrasCODE39MFD", free<20, false, kCode39Letters, kCode39>},
    {"ECF_CodigoBarrasEAN13MFD", retail<12, kEan13>},
    {"ECF_CodigoBarrasEAN8MFD", retail<7, kEan8>},
    {"ECF_CodigoBarrasITFMFD", free<30, true, kItfLetters, kItf>},
    {"ECF_CodigoBarrasUPCAMFD", retail<11, kUpcA>},
    {"ECF_CodigoBarrasUPCEMFD", retail<6, kUpcE>},
};

}  // namespace

std::span<const Command> barcodeCommands() {
  return kCommands;
}

}  // namespace printer
