// Small text helpers of the devices. Texts are ISO-8859-1 bytes; nothing here depends on the locale.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace device {

using Cents = std::int64_t;

std::string trim(std::string_view text);
/// ASCII letters to upper case; other bytes stay.
std::string upper(std::string_view text);
bool allDigits(std::string_view text);
std::vector<std::string> split(std::string_view text, char separator);

/// `number` with at least `width` digits, cut to its last `width` digits so that a fixed width stays fixed.
std::string digits(std::int64_t number, std::size_t width);
/// Blanks on the right, cut to `width`.
std::string padded(std::string_view text, std::size_t width);
/// Centavos as people read them: 1.234,56.
std::string money(Cents cents);
/// A fixed-point number with `decimals` digits behind the comma.
std::string fixedPoint(std::int64_t number, int decimals);

/// An integer within limits, digits only (a minus only when `least` is negative); nothing when it is anything else.
std::optional<std::int64_t> parseInteger(std::string_view text, std::int64_t least, std::int64_t most);
/// A number with an optional comma or point and 1 to `decimals` digits behind it, as an integer of 10^-decimals.
/// Without a separator the digits count as whole units when `whole`, else as 10^-decimals. At most 12 digits.
std::optional<std::int64_t> parseDecimal(std::string_view text, int decimals, bool whole);
/// Money in centavos: "1250", "12,50", "12.5".
std::optional<Cents> parseMoney(std::string_view text);

/// `value` * `factor` / `divisor`, rounded half up or cut; all not negative.
std::int64_t scaled(std::int64_t value, std::int64_t factor, std::int64_t divisor, bool round);

/// Modulo-10 digit with weights 2 and 1 from the right, as payment cards and bank slips use it.
int checkDigitMod10(std::string_view number);
/// True for 13 to 19 digits whose last one is the right check digit.
bool validCardNumber(std::string_view number);
/// The number with all but its first six and last four digits covered.
std::string maskedCard(std::string_view number);

}  // namespace device
