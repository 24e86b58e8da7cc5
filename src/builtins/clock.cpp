// The local clock, times of day as text, and the pause.
#include <chrono>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "builtins/digits.h"
#include "builtins/new_text.h"
#include "builtins/vornefun.h"
#include "runtime/arguments.h"
#include "runtime/calendar.h"
#include "runtime/local_clock.h"

using namespace vorne;

namespace {

constexpr int kSecondsPerDay = 86400;

int secondsOfDay(const std::tm& time) {
  return (time.tm_hour * 60 + time.tm_min) * 60 + time.tm_sec;
}

/// The seconds that "hh:mm:ss" stands for, whatever its separators are.
int secondsIn(std::string_view time) {
  return static_cast<int>((NumberAt(time, 0, 2) * 60 + NumberAt(time, 3, 2)) * 60 + NumberAt(time, 6, 2));
}

Obj_Node* timeText(int seconds) {
  const int s = std::abs(seconds);
  char text[32];
  std::snprintf(text, sizeof text, "%s%02i:%02i:%02i", seconds < 0 ? "-" : "", s / 3600, s / 60 % 60, s % 60);
  return MakeText(text);
}

}  // namespace

Obj_Node* __Date() {
  const std::tm now = LocalNow();
  return __INIT_DATE(__EncodeDate(static_cast<unsigned>(now.tm_year + 1900), static_cast<unsigned>(now.tm_mon + 1),
                                  static_cast<unsigned>(now.tm_mday)));
}

Obj_Node* __Time() {
  return timeText(secondsOfDay(LocalNow()));
}

Obj_Node* __Seconds() {
  return __Time();  // scripts cut it up as they do a time
}

Obj_Node* __ElapTime(Obj_Node* start, Obj_Node* end) {
  const int from = secondsIn(TextArgument(start).shown);
  return timeText(secondsIn(TextArgument(end).shown) - from);
}

Obj_Node* __GenTMS(Obj_Node* d) {
  const DateParts date = DecodeDate(DateArgument(d));
  const std::int64_t dayOfYear = std::int64_t{DaysBefore(date.year, date.month)} + date.day - 1;
  const std::int64_t seconds = dayOfYear * kSecondsPerDay + secondsOfDay(LocalNow());
  const std::int64_t stamp = (std::int64_t{date.year} - 2000) * 100000000 + seconds;
  char text[32];
  std::snprintf(text, sizeof text, "%" PRIX64, static_cast<std::uint64_t>(stamp));
  return MakeText(text);
}

Obj_Node* SLEEP(Obj_Node* n) {
  if (n == nullptr) return nullptr;
  const int microseconds = IntArgument(n);
  if (microseconds > 0) std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
  return nullptr;
}
