// Numbers as text.
#include <algorithm>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "builtins/padding.h"
#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

constexpr int kMaxDecimals = 100;
constexpr int kMaxWidth = 32767;
constexpr int kDefaultWidth = 10;
/// What "%f" of the largest double needs, and some.
constexpr std::size_t kPlainSize = 512;

char decimalSeparator() {
  const char separator = std::localeconv()->decimal_point[0];
  return separator == '\0' ? '.' : separator;
}

char digitOf(double v) {
  const double digit = std::fmod(std::floor(v), 10);
  return digit >= 0 && digit <= 9 ? static_cast<char>('0' + static_cast<int>(digit)) : '0';  // NaN is no digit
}

/// Writes the `decimals` digits of |v * scale| behind the separator, the last one first.
void writeFraction(char* to, double v, double scale, int decimals) {
  double rest = std::fabs(v * scale);
  for (int i = decimals - 1; i >= 0; --i) {
    to[i] = digitOf(rest);
    rest /= 10;
  }
  to[decimals] = '\0';
}

}  // namespace

void printDouble(double v, char* buf, char sep) {
  std::snprintf(buf, kPlainSize, "%f", v);
  char* separator = std::strchr(buf, sep);
  if (separator == nullptr) separator = std::strchr(buf, '.');
  if (separator == nullptr || sep == '\0') return;  // nothing behind a separator: the zeros are the number's own
  *separator = sep;
  char* end = buf + std::strlen(buf);
  while (end[-1] == '0') --end;
  if (end[-1] == sep) --end;
  *end = '\0';
}

void __GetStringFromDouble(char* buf, double v, int decimals, short round) {
  const int places = std::clamp(decimals, 0, kMaxDecimals);
  const char separator = decimalSeparator();
  if (!std::isfinite(v)) v = 0;
  // Whole numbers from 0 on, which most results of vendors are, need neither rounding nor "%f".
  if (places == 0 && v == std::trunc(v) && std::fabs(v) < 1e15 && !std::signbit(v)) {
    *std::to_chars(buf, buf + kPlainSize, static_cast<std::int64_t>(v)).ptr = '\0';
    return;
  }
  const double scale = std::copysign(std::pow(10.0, places), v < 0 ? -1.0 : 1.0);
  if (round != 0 && v != 0) v += 0.5 / scale;

  // The integer part comes from the six decimals of "%f", the fraction from the scaled value: numbers that differ from
  // an integer by less than a millionth therefore show the next integer before their own fraction. Amounts never have
  // so many decimals, and changing it would change printed totals.
  char plain[kPlainSize];
  printDouble(v, plain, separator);
  const std::size_t integer = std::strspn(plain, "-0123456789");
  std::memcpy(buf, plain, integer);
  buf[integer] = '\0';
  if (places == 0) return;
  buf[integer] = separator;
  writeFraction(buf + integer + 1, v, scale, places);
}

namespace {

/// What __Str and __StrZero are asked for, with missing, negative and excessive values replaced.
struct NumberFormat {
  double value;
  int width;
  int decimals;
};

NumberFormat numberFormat(Obj_Node* n, Obj_Node* width, Obj_Node* decimals, int negativeDecimals) {
  NumberFormat format{NumberArgument(n), OptionalInt(width, kDefaultWidth), OptionalInt(decimals, 0)};
  if (format.width < 0) format.width = kDefaultWidth;
  if (format.decimals < 0) format.decimals = negativeDecimals;
  format.width = std::min(format.width, kMaxWidth);
  format.decimals = std::min(format.decimals, kMaxDecimals);
  return format;
}

}  // namespace

Obj_Node* __Str(Obj_Node* n, Obj_Node* width, Obj_Node* decimals) {
  const NumberFormat format = numberFormat(n, width, decimals, 10);
  char text[StringFromDoubleSize(kMaxDecimals)];
  __GetStringFromDouble(text, format.value, format.decimals, 1);
  return PadLeft(text, format.width, " ");
}

Obj_Node* __StrZero(Obj_Node* n, Obj_Node* width, Obj_Node* decimals) {
  const NumberFormat format = numberFormat(n, width, decimals, 0);
  char text[StringFromDoubleSize(kMaxDecimals)];
  __GetStringFromDouble(text, format.value, format.decimals, 1);
  // Money asked for with more decimals is printed with two when the third one is a zero.
  if (format.decimals > 2) {
    char* separator = std::strchr(text, decimalSeparator());
    if (separator != nullptr && separator[3] == '0') separator[3] = '\0';
  }
  return PadLeft(text, format.width, "0");
}
