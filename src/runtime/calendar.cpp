// Days to years, months and days, and back.
#include "runtime/calendar.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "runtime/internal.h"

namespace vorne {

namespace {

/// The day count of 30 December 1899 when 1 January of year 1 is day 1.
constexpr std::uint32_t kDayZero = 693594;
constexpr int kEarliestEpoch = 1900;
constexpr unsigned kLastYear = 9999;

struct Cycle {
  int days;
  unsigned years;
  // The most of this cycle that one of the next longer one holds.
  std::int64_t most;
};
/// The calendar's cycles, long ones first. A fourth century and a fourth year keep their cycle's leap day.
constexpr Cycle kCycles[] = {
    {146097, 400, std::numeric_limits<std::int64_t>::max()}, {36524, 100, 3}, {1461, 4, 24}, {365, 1, 3}};

/// The epoch setting, at least 1900; a lower one, or one that is no number, is replaced.
unsigned epoch() {
  Obj_Node*& setting = S_GLOB->Internal_Sets[kEpochSetting - 1];
  const int year = IsNumber(setting) ? ToInt(setting->objData.mdbl) : 0;
  if (year >= kEarliestEpoch) return static_cast<unsigned>(year);
  Obj_Node raised;  // outside the value stack, whose slots may all be in use by the arguments at hand
  __InitObjNode(&raised, varNumber);
  raised.objData.mdbl = kEarliestEpoch;
  StoreForRun(setting, &raised);
  return kEarliestEpoch;
}

/// A two-digit year becomes the first one from the epoch on that ends in it.
unsigned fullYear(unsigned year) {
  const unsigned from = epoch();
  if (year > 99) return year;
  const unsigned near = from / 100 * 100 + year;
  return near >= from ? near : near + 100;
}

}  // namespace

bool IsLeapYear(unsigned year) {
  return year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
}

unsigned DaysInMonth(unsigned year, unsigned month) {
  if (month < 1 || month > 12) return 0;
  return static_cast<unsigned>(S_GLOB->MonthDays[IsLeapYear(year)][month - 1]);
}

unsigned DaysBefore(unsigned year, unsigned month) {
  unsigned days = 0;
  for (unsigned m = 1; m < month; ++m) days += DaysInMonth(year, m);
  return days;
}

DateParts DecodeDate(datetime value) {
  // Days behind 1 January of year 1.
  std::int64_t left = __DateTimeToTimeStamp(value) - 1;
  if (left < 0) return {};
  DateParts date{1, 1, 1};
  for (const Cycle& cycle : kCycles) {
    const std::int64_t count = std::min(left / cycle.days, cycle.most);
    date.year += static_cast<unsigned>(count) * cycle.years;
    left -= count * cycle.days;
  }
  auto rest = static_cast<unsigned>(left);
  for (; date.month < 12 && rest >= DaysInMonth(date.year, date.month); ++date.month)
    rest -= DaysInMonth(date.year, date.month);
  date.day += rest;
  return date;
}

std::optional<datetime> EncodeDate(DateParts parts, int extraDays) {
  if (parts.month == 0 || parts.day == 0) {
    if (parts.year != 0 || parts.month != 0 || parts.day != 0) return std::nullopt;
    return 0.0;
  }
  const unsigned year = fullYear(parts.year);
  if (year > kLastYear || parts.month > 12 || parts.day > DaysInMonth(year, parts.month)) return std::nullopt;
  const std::uint32_t past = year - 1;
  const std::uint32_t days =
      past * 365 + past / 4 - past / 100 + past / 400 + DaysBefore(year, parts.month) + parts.day;
  // Unsigned to the end: programs know dates before 30 December 1899 in this wrapped form, after all others.
  return std::uint32_t{days + static_cast<std::uint32_t>(extraDays) - kDayZero};
}

}  // namespace vorne

std::int64_t __DateTimeToTimeStamp(datetime value) {
  if (value == 0 || std::isnan(value)) return 0;
  return std::int64_t{ToInt(std::floor(value))} + vorne::kDayZero;
}
