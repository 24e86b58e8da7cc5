// Amounts are whole numbers of a smallest unit everywhere; a decimal comma is read as well as a point, since both are
// typed.
#include "common/text.h"

#include <algorithm>
#include <charconv>

namespace device {

namespace {

constexpr std::int64_t kPowers[] = {1, 10, 100, 1000};

bool digit(char c) {
  return c >= '0' && c <= '9';
}

}  // namespace

std::string trim(std::string_view text) {
  const std::size_t first = text.find_first_not_of(' ');
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(' ') - first + 1));
}

std::string upper(std::string_view text) {
  std::string result(text);
  for (char& c : result) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return result;
}

bool allDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), digit);
}

std::vector<std::string> split(std::string_view text, char separator) {
  std::vector<std::string> parts;
  for (std::size_t start = 0;;) {
    const std::size_t end = std::min(text.find(separator, start), text.size());
    parts.emplace_back(text.substr(start, end - start));
    if (end == text.size()) return parts;
    start = end + 1;
  }
}

std::string digits(std::int64_t number, std::size_t width) {
  std::string text = std::to_string(number < 0 ? -number : number);
  if (text.size() < width) text.insert(0, width - text.size(), '0');
  return text.substr(text.size() - width);
}

std::string padded(std::string_view text, std::size_t width) {
  std::string result(text.substr(0, width));
  result.resize(width, ' ');
  return result;
}

std::string fixedPoint(std::int64_t number, int decimals) {
  const std::int64_t unit = kPowers[decimals];
  const std::int64_t size = number < 0 ? -number : number;
  std::string text = std::to_string(size / unit);
  if (decimals > 0) text.append(1, ',').append(digits(size % unit, static_cast<std::size_t>(decimals)));
  if (number < 0) text.insert(text.begin(), '-');
  return text;
}

std::string money(Cents cents) {
  std::string text = fixedPoint(cents, 2);
  const std::size_t stop = cents < 0 ? 4 : 3;
  for (std::size_t at = text.size() - 3; at > stop;) {
    at -= 3;
    text.insert(at, 1, '.');
  }
  return text;
}

std::optional<std::int64_t> parseInteger(std::string_view text, std::int64_t least, std::int64_t most) {
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || value < least || value > most) return std::nullopt;
  return value;
}

std::optional<std::int64_t> parseDecimal(std::string_view text, int decimals, bool whole) {
  const std::size_t separator = text.find_first_of(",.");
  const bool separated = separator != std::string_view::npos;
  const std::string_view units = text.substr(0, separator);
  std::string fraction(separated ? text.substr(separator + 1) : std::string_view{});
  if (!allDigits(units) || units.size() + fraction.size() > 12) return std::nullopt;
  if (separated && (!allDigits(fraction) || fraction.size() > static_cast<std::size_t>(decimals))) return std::nullopt;
  fraction.resize(separated || whole ? static_cast<std::size_t>(decimals) : 0, '0');
  return parseInteger(std::string(units) + fraction, 0, 999'999'999'999'999);
}

std::optional<Cents> parseMoney(std::string_view text) {
  return parseDecimal(text, 2, false);
}

std::int64_t scaled(std::int64_t value, std::int64_t factor, std::int64_t divisor, bool round) {
  // Rounded half up or cut off, as the printer is programmed. Values are not negative here.
  return (value * factor + (round ? divisor / 2 : 0)) / divisor;
}

int checkDigitMod10(std::string_view number) {
  int sum = 0;
  int weight = 2;
  for (auto it = number.rbegin(); it != number.rend(); ++it) {
    const int product = (*it - '0') * weight;
    sum += product / 10 + product % 10;
    weight = 3 - weight;
  }
  return (10 - sum % 10) % 10;
}

bool validCardNumber(std::string_view number) {
  if (!allDigits(number) || number.size() < 13 || number.size() > 19) return false;
  return checkDigitMod10(number.substr(0, number.size() - 1)) == number.back() - '0';
}

std::string maskedCard(std::string_view number) {
  std::string text(number);
  for (std::size_t i = 6; i + 4 < text.size(); ++i) text[i] = '*';
  return text;
}

}  // namespace device
