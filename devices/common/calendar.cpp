// Calculations go by a calendar without zones, so that a printer's clock runs on where summer time begins; only
// `localNow` knows where the workstation stands.
#include "common/calendar.h"

#include "common/text.h"

namespace device {

namespace {

std::string_view part(std::string_view text, std::size_t at, std::size_t count) {
  return at < text.size() ? text.substr(at, count) : std::string_view{};
}

int numberAt(std::string_view text, std::size_t at, std::size_t count) {
  return static_cast<int>(parseInteger(part(text, at, count), 0, 9999).value_or(0));
}

/// The moment as a count of seconds on a calendar without time zones or summer time.
std::time_t secondsOf(std::string_view when) {
  std::tm fields{};
  fields.tm_year = numberAt(when, 0, 4) - 1900;
  fields.tm_mon = numberAt(when, 4, 2) - 1;
  fields.tm_mday = numberAt(when, 6, 2);
  fields.tm_hour = numberAt(when, 8, 2);
  fields.tm_min = numberAt(when, 10, 2);
  fields.tm_sec = numberAt(when, 12, 2);
  return timegm(&fields);
}

std::string momentOf(std::time_t seconds) {
  std::tm fields{};
  gmtime_r(&seconds, &fields);
  return moment(fields);
}

std::string orZeros(std::string_view text, std::size_t count) {
  return text.size() == count ? std::string(text) : std::string(count, '0');
}

}  // namespace

std::string moment(const std::tm& when) {
  return digits(when.tm_year + 1900, 4) + digits(when.tm_mon + 1, 2) + digits(when.tm_mday, 2) +
         digits(when.tm_hour, 2) + digits(when.tm_min, 2) + digits(when.tm_sec, 2);
}

std::optional<std::tm> parseMoment(std::string_view text) {
  if (text.size() != 14 || !allDigits(text) || !text.starts_with("20")) return std::nullopt;
  const std::time_t seconds = secondsOf(text);
  if (momentOf(seconds) != text) return std::nullopt;  // a date that the calendar does not have
  std::tm fields{};
  gmtime_r(&seconds, &fields);
  return fields;
}

std::string shifted(const std::string& when, long seconds) {
  return momentOf(secondsOf(when) + seconds);
}

long secondsBetween(const std::string& from, const std::string& to) {
  return static_cast<long>(secondsOf(to) - secondsOf(from));
}

std::optional<std::string> parseDate(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '/' && (i == 2 || i == 5)) continue;
    plain += text[i];
  }
  if (plain.size() == 6) plain.insert(4, "20");
  if (plain.size() != 8) return std::nullopt;
  const std::string date = plain.substr(4) + plain.substr(2, 2) + plain.substr(0, 2);
  if (!parseMoment(date + "000000")) return std::nullopt;
  return date;
}

std::string shortDate(std::string_view when) {
  return orZeros(part(when, 6, 2), 2) + orZeros(part(when, 4, 2), 2) + orZeros(part(when, 2, 2), 2);
}

std::string printedDate(std::string_view when) {
  return orZeros(part(when, 6, 2), 2) + "/" + orZeros(part(when, 4, 2), 2) + "/" + orZeros(part(when, 0, 4), 4);
}

std::string shortTime(std::string_view when) {
  return orZeros(part(when, 8, 6), 6);
}

std::string printedTime(std::string_view when) {
  const std::string time = shortTime(when);
  return time.substr(0, 2) + ":" + time.substr(2, 2) + ":" + time.substr(4);
}

}  // namespace device
