// Numbers stand right-aligned and dates as YYYYMMDD, so that bytes in order are values in order; negative numbers are
// not, which is kept since files in the field are sorted so.
#include "storage/format/keys.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>

#include "runtime/swapped.h"
#include "storage/format/record_bytes.h"

namespace vorne {

namespace {

constexpr std::size_t kDateDigits = 8;
// Digits before the point of the largest double, a sign, the point and the most decimals that are taken seriously.
constexpr int kMostDecimals = 64;
constexpr std::size_t kNumberText = 320 + kMostDecimals;

std::size_t numberText(double value, int decimals, char* text) {
  // to_chars and not printf: the host's locale must not decide how a key is written.
  const auto [end, error] =
      std::to_chars(text, text + kNumberText, value, std::chars_format::fixed, std::clamp(decimals, 0, kMostDecimals));
  return error == std::errc() ? static_cast<std::size_t>(end - text) : 0;
}

// A number that is too long for its field keeps its first digits: files in the field hold such keys.
void placeNumber(const ControlFieldTBL& field, double value, char* at) {
  char text[kNumberText];
  const auto room = static_cast<std::size_t>(field.FieldLen);
  // Right-aligned in blanks, which MakeKey and NumberKey have put there.
  const std::size_t length = std::min(numberText(value, field.FieldDecLen, text), room);
  std::memcpy(at + room - length, text, length);
}

// Days are counted from 30 December 1899. The empty date and what is before the year 1 are all zeros; what no year of
// four digits has is greater than every date.
unsigned dateNumber(double value) {
  using namespace std::chrono;
  constexpr sys_days kDayZero{year{1899} / December / 30};
  constexpr double kFirst = -693593, kLast = 2958465;  // 1 January 1, 31 December 9999
  const double day = std::floor(value);
  if (day > kLast) return 99999999;
  if (!(day >= kFirst) || day == 0) return 0;
  const year_month_day date{kDayZero + days{static_cast<int>(day)}};
  return static_cast<unsigned>(static_cast<int>(date.year())) * 10000 + static_cast<unsigned>(date.month()) * 100 +
         static_cast<unsigned>(date.day());
}

void placeDate(double value, char* at) {
  unsigned rest = dateNumber(value);
  // From the last digit on; what is missing in front are zeros.
  for (std::size_t i = kDateDigits; i-- > 0; rest /= 10) at[i] = static_cast<char>('0' + rest % 10);
}

double numberIn(const ControlFieldTBL& field, const char* buffer, bool swapped) {
  const auto bits = Load<std::uint64_t>(buffer + field.iOffset);
  return std::bit_cast<double>(swapped ? SwapBytes(bits) : bits);
}

bool isBlank(const char* at, const char* end) {
  return std::all_of(at, end, [](char c) { return c == ' '; });
}

bool hasText(const char* text, const char* key, std::size_t room) {
  const std::size_t length = ::strnlen(text, room);
  return std::memcmp(text, key, length) == 0 && isBlank(key + length, key + room);
}

bool hasNumber(const ControlFieldTBL& field, double value, const char* key, std::size_t room) {
  char text[kNumberText];
  const std::size_t length = std::min(numberText(value, field.FieldDecLen, text), room);
  return std::memcmp(key + room - length, text, length) == 0 && isBlank(key, key + room - length);
}

bool hasPart(const ControlFieldTBL& field, const char* buffer, const char* key, std::size_t room) {
  const char* at = buffer + field.iOffset;
  char date[kDateDigits];
  switch (field.FieldType) {
    case TBLNUM:
      return hasNumber(field, NumberIn(field, buffer), key, room);
    case TBLDATE:
      placeDate(NumberIn(field, buffer), date);
      return std::memcmp(key, date, room) == 0;
    case TBLSTRING:
      return hasText(at, key, room);
    default:
      return *at == *key;
  }
}

}  // namespace

std::int32_t KeyRoom(const ControlFieldTBL& field) {
  switch (field.FieldType) {
    case TBLNUM:
    case TBLSTRING:
      return field.FieldLen;
    case TBLDATE:
      return static_cast<std::int32_t>(kDateDigits);
    case TBLBOOL:
      return 1;
    default:
      return 0;
  }
}

std::int32_t KeyRoom(Fields fields, KeyFields key) {
  // Added up wide: fields of a damaged description could wrap the sum back into what is allowed.
  std::int64_t room = 0;
  for (const IDX_Indexes& part : key) {
    if (part.KeyField < 1 || part.KeyField > fields.size()) return 0;
    const std::int32_t one = KeyRoom(fields[part.KeyField - 1]);
    if (one == 0) return 0;
    room += one;
  }
  return room <= kLongestField ? static_cast<std::int32_t>(room) : 0;
}

std::vector<IDX_Indexes> NumberedFromOne(KeyFields key) {
  std::vector<IDX_Indexes> numbered(key.begin(), key.end());
  for (IDX_Indexes& part : numbered) ++part.KeyField;
  return numbered;
}

bool MakeKey(Fields fields, KeyFields key, const char* buffer, bool swapped, char* at) {
  for (const IDX_Indexes& part : key) {
    const ControlFieldTBL& field = fields[part.KeyField - 1];
    const auto room = static_cast<std::size_t>(KeyRoom(field));
    std::memset(at, ' ', room);
    switch (field.FieldType) {
      case TBLNUM:
        placeNumber(field, numberIn(field, buffer, swapped), at);
        break;
      case TBLDATE:
        placeDate(numberIn(field, buffer, swapped), at);
        break;
      case TBLSTRING:
        std::memcpy(at, buffer + field.iOffset, ::strnlen(buffer + field.iOffset, room));
        break;
      case TBLBOOL:
        *at = buffer[field.iOffset];
        break;
      default:
        return false;
    }
    at += room;
  }
  return true;
}

// Part by part and without making a key, since a walk asks this at every step.
bool HasKey(Fields fields, KeyFields parts, const char* buffer, const char* key) {
  for (const IDX_Indexes& part : parts) {
    const ControlFieldTBL& field = fields[part.KeyField - 1];
    const auto room = static_cast<std::size_t>(KeyRoom(field));
    if (!hasPart(field, buffer, key, room)) return false;
    key += room;
  }
  return true;
}

int CompareKeys(const char* a, const char* b, std::size_t length) {
  const int order = std::memcmp(a, b, length);
  return (order > 0) - (order < 0);
}

std::string NumberKey(const ControlFieldTBL& field, double value) {
  std::string key(static_cast<std::size_t>(field.FieldLen), ' ');
  placeNumber(field, value, key.data());
  return key;
}

std::string DateKey(datetime date) {
  std::string key(kDateDigits, ' ');
  placeDate(date, key.data());
  return key;
}

}  // namespace vorne
