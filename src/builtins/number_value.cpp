// The number that a text stands for.
#include <algorithm>
#include <cmath>

#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

constexpr std::size_t kNone = std::string_view::npos;
/// Digits of a fraction that count: more than a double can tell apart, few enough for their power of ten to be one.
constexpr std::size_t kMaxFraction = 300;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
bool isSeparator(char c) {
  return c == ',' || c == '.';
}

/// What reading a text from its end brought to light.
struct Scan {
  std::string_view number;  ///< the text without what was cut off
  std::size_t readFrom;     ///< index of the first character that was read and kept
  std::size_t separator;    ///< index of the decimal separator, kNone without one
  bool negative;
};

/// Digits and separators pass, a minus sign ends the reading and any other character ends it too, but takes itself and
/// all behind it away, a separator noted there included.
Scan readFromEnd(std::string_view s) {
  std::size_t separator = kNone;
  for (std::size_t i = s.size(); i > 0; --i) {
    const char c = s[i - 1];
    if (c == '-') return {s, i, separator, true};
    if (isSeparator(c)) {
      if (separator == kNone) separator = i - 1;
    } else if (!isDigit(c)) {
      return {s.substr(0, i - 1), i - 1, kNone, false};
    }
  }
  return {s, 0, separator, false};
}

/// The decimal value of the digits in `s`. Every other character holds a place, except for separators from index
/// `skipFrom` on, which are not there.
double placeValue(std::string_view s, std::size_t skipFrom) {
  double value = 0;
  double power = 1;
  for (std::size_t i = s.size(); i > 0; --i) {
    const char c = s[i - 1];
    if (i > skipFrom && isSeparator(c)) continue;
    if (isDigit(c) && c != '0') value += (c - '0') * power;
    power *= 10;
  }
  return value;
}

double valueOf(std::string_view s) {
  const Scan scan = readFromEnd(s);
  double value = placeValue(scan.number.substr(0, scan.separator), scan.readFrom);
  if (scan.separator != kNone) {
    const std::string_view fraction = scan.number.substr(scan.separator + 1, kMaxFraction);
    value += placeValue(fraction, kNone) / std::pow(10.0, static_cast<double>(fraction.size()));
  }
  return scan.negative ? -value : value;
}

}  // namespace

Obj_Node* __Val(Obj_Node* s) {
  if (s == nullptr) return nullptr;
  if (!HasText(s)) return __INIT_DOUBLE(0);
  const std::string_view text = TextArgument(s).shown;
  return __INIT_DOUBLE(valueOf(text.substr(std::min(text.find_first_not_of(' '), text.size()))));
}
