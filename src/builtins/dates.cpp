// Dates and their parts.
#include <cmath>
#include <cstdio>

#include "builtins/new_text.h"
#include "builtins/vornefun.h"
#include "runtime/arguments.h"
#include "runtime/calendar.h"

using namespace vorne;

namespace {

/// By month; the empty date's month 0 has no name. "octuber" is what programs compare with.
constexpr const char* kMonthNames[] = {"",     "january", "february",  "march",   "april",    "may",     "june",
                                       "july", "august",  "september", "octuber", "november", "december"};
constexpr const char* kDayNames[] = {"sunday", "monday", "tuesday", "wednesday", "thursday", "friday", "saturday"};

DateParts partsOf(const Obj_Node* d) {
  return DecodeDate(DateArgument(d));
}

/// 1 for Sunday to 7 for Saturday, which the empty date and those before it are, too.
int dayOfWeek(datetime value) {
  const int day = ToInt(std::fmod(value, 7));
  return day < 1 ? 7 : day;
}

}  // namespace

short __IsLeapYear(unsigned year) {
  return IsLeapYear(year) ? 1 : 0;
}

void __DecodeDate(datetime value, unsigned* year, unsigned* month, unsigned* day) {
  const DateParts date = DecodeDate(value);
  *year = date.year;
  *month = date.month;
  *day = date.day;
}

short __DoEncodeDate(unsigned year, unsigned month, unsigned day, datetime* value, int extraDays) {
  const std::optional<datetime> encoded = EncodeDate({year, month, day}, extraDays);
  *value = encoded.value_or(0);
  return encoded ? 1 : 0;
}

datetime __EncodeDate(unsigned year, unsigned month, unsigned day) {
  return EncodeDate({year, month, day}).value_or(0);
}

Obj_Node* __Year(Obj_Node* d) {
  return __INIT_DOUBLE(partsOf(d).year);
}
Obj_Node* __Month(Obj_Node* d) {
  return __INIT_DOUBLE(partsOf(d).month);
}
Obj_Node* __Day(Obj_Node* d) {
  return __INIT_DOUBLE(partsOf(d).day);
}

Obj_Node* __Dow(Obj_Node* d) {
  // No error here: reports ask for the day of fields that may hold anything.
  return __INIT_DOUBLE(d != nullptr && d->objVarType == varDate ? dayOfWeek(d->objData.mdt) : 0);
}

Obj_Node* __CDow(Obj_Node* d) {
  return MakeText(kDayNames[dayOfWeek(DateArgument(d)) - 1]);
}

Obj_Node* __CMonth(Obj_Node* d) {
  return MakeText(kMonthNames[partsOf(d).month]);
}

Obj_Node* __Dtos(Obj_Node* d) {
  const DateParts date = partsOf(d);
  char text[32];
  std::snprintf(text, sizeof text, "%04u%02u%02u", date.year, date.month, date.day);
  return MakeText(text);
}

Obj_Node* __JulianDate(Obj_Node* d) {
  const DateParts date = partsOf(d);
  // Earlier months all count as long as this one: programs keep these numbers as keys.
  const unsigned dayNumber = (date.month - 1) * DaysInMonth(date.year, date.month) + date.day;
  return __INIT_DOUBLE(date.year + dayNumber * 10000.0);
}
