// The calendar behind date values, which operators and builtins share. A date is the number of days since 30 December
// 1899, and 0 is the empty date.
#pragma once

#include <optional>

#include "runtime/vorneobjs.h"

namespace vorne {

/// Numbers of the settings that dates go by.
inline constexpr int kDateFormatSetting = 4;
inline constexpr int kEpochSetting = 5;

/// All 0 for the empty date.
struct DateParts {
  unsigned year = 0;
  unsigned month = 0;  ///< 1 to 12
  unsigned day = 0;    ///< 1 to 31
};

/// Leap years of the Gregorian rule.
bool IsLeapYear(unsigned year);
/// Length of that month by the global record's table; 0 for a month outside 1 to 12.
unsigned DaysInMonth(unsigned year, unsigned month);
/// Days of that year before that month (1 to 12).
unsigned DaysBefore(unsigned year, unsigned month);

/// The parts of the day that `value` falls on; those of the empty date for NaN and for days before year 1. Days beyond
/// the range of int count as its last one.
DateParts DecodeDate(datetime value);
/// The date `extraDays` days after the day that `parts` name. A year below 100 is widened by the epoch setting, which
/// is raised to 1900 when it is less. A sum before 30 December 1899 wraps as 32 bits do: it becomes a date in a distant
/// future. The empty date stays 0 whatever is added. Nothing for parts that are no day of the years up to 9999.
std::optional<datetime> EncodeDate(DateParts parts, int extraDays = 0);

}  // namespace vorne
