// Dates of the devices. Stored as AAAAMMDD, or AAAAMMDDhhmmss for a moment, so that they compare as texts.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace device {

/// "AAAAMMDDhhmmss"; nothing when it is not a moment between 2000 and 2099.
std::optional<std::tm> parseMoment(std::string_view text);
std::string moment(const std::tm& when);

/// `moment` moved by `seconds`, over the calendar's own borders.
std::string shifted(const std::string& when, long seconds);
/// Seconds from one moment to the other.
long secondsBetween(const std::string& from, const std::string& to);

/// DDMMAA, DDMMAAAA, DD/MM/AA or DD/MM/AAAA as AAAAMMDD; nothing when it is no date.
std::optional<std::string> parseDate(std::string_view text);
/// AAAAMMDD... as DDMMAA, and as DD/MM/AAAA. A moment that never was reads as zeros.
std::string shortDate(std::string_view when);
std::string printedDate(std::string_view when);
/// AAAAMMDDhhmmss as hhmmss, and as hh:mm:ss.
std::string shortTime(std::string_view when);
std::string printedTime(std::string_view when);

}  // namespace device
