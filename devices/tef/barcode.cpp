// Check digits of Brazilian bank slips and utility bills, as their published layouts define them: a slip's typed line
// has three fields with a modulo-10 digit and the whole code a modulo-11 digit; a bill's four fields and whole code
// use modulo 10 or 11 as its third digit says.
#include "tef/terminal.h"

namespace tef {

using namespace device;

namespace {

/// Sum with weights 2 to 9 from the right, modulo 11.
int remainderMod11(std::string_view number) {
  int sum = 0;
  int weight = 2;
  for (auto it = number.rbegin(); it != number.rend(); ++it) {
    sum += (*it - '0') * weight;
    weight = weight == 9 ? 2 : weight + 1;
  }
  return sum % 11;
}

/// A slip's general digit is never 0: what would be 0, 10 or 11 is 1.
int titleDigit(std::string_view number) {
  const int digit = 11 - remainderMod11(number);
  return digit >= 10 ? 1 : digit;
}

/// A bill's digit: what would be 10 or 11 is 0.
int billDigit(std::string_view number, bool mod10) {
  if (mod10) return checkDigitMod10(number);
  const int digit = 11 - remainderMod11(number);
  return digit >= 10 ? 0 : digit;
}

bool ends(std::string_view field, int digit) {
  return field.back() - '0' == digit;
}

/// The 44 digits of a slip's typed line of 47; empty when a field's digit is wrong.
std::string titleFromTyped(std::string_view typed) {
  const std::string_view fields[] = {typed.substr(0, 10), typed.substr(10, 11), typed.substr(21, 11)};
  for (const std::string_view field : fields) {
    if (!ends(field, checkDigitMod10(field.substr(0, field.size() - 1)))) return {};
  }
  return std::string(typed.substr(0, 4)) + std::string(typed.substr(32)) + std::string(typed.substr(4, 5)) +
         std::string(typed.substr(10, 10)) + std::string(typed.substr(21, 10));
}

bool billUsesMod10(std::string_view code) {
  return code[2] == '6' || code[2] == '7';
}

/// The 44 digits of a bill's typed line of 48; empty when a field's digit is wrong.
std::string billFromTyped(std::string_view typed) {
  std::string code;
  for (std::size_t at = 0; at < 48; at += 12) {
    const std::string_view field = typed.substr(at, 12);
    if (!ends(field, billDigit(field.substr(0, 11), billUsesMod10(typed)))) return {};
    code += field.substr(0, 11);
  }
  return code;
}

/// The code as bars carry it; nothing when its length is wrong, empty when a digit of the typed line is.
std::optional<std::string> asBars(std::string_view code, bool title) {
  if (!allDigits(code)) return std::nullopt;
  if (code.size() == 44) return std::string(code);
  if (title && code.size() == 47) return titleFromTyped(code);
  if (!title && code.size() == 48) return billFromTyped(code);
  return std::nullopt;
}

}  // namespace

int checkCode(std::string_view code, bool title) {
  const auto bars = asBars(code, title);
  if (!bars) return kBadArgument;
  if (bars->empty()) return kCheckDigit;
  if (!title && (bars->front() != '8' || (*bars)[2] < '6' || (*bars)[2] > '9')) return kBadArgument;
  const std::size_t place = title ? 4 : 3;
  const std::string rest = bars->substr(0, place) + bars->substr(place + 1);
  const int digit = title ? titleDigit(rest) : billDigit(rest, billUsesMod10(*bars));
  return (*bars)[place] - '0' == digit ? kApproved : kCheckDigit;
}

Cents amountOfCode(std::string_view code, bool title) {
  const std::string bars = asBars(code, title).value_or("");
  if (bars.size() != 44) return 0;
  const std::string_view digitsOfAmount = std::string_view(bars).substr(title ? 9 : 4, title ? 10 : 11);
  return parseInteger(digitsOfAmount, 0, 99'999'999).value_or(0);
}

}  // namespace tef
