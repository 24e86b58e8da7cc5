// The values of a table's fields as they are written outside the store: UTF-8 texts, numbers with a point, dates as
// 2004-03-17, logicals as true and false; nothing for the empty date.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "storage/tables.h"

namespace tool {

/// How texts come. Windows' cp1252 is ISO-8859-1 with printed characters in the place of the control codes from 0x80
/// on.
enum class Encoding { kUtf8, kLatin1, kCp1252 };

struct ValueRules {
  Encoding encoding = Encoding::kUtf8;
  bool truncate = false;  ///< texts are cut to their field, and numbers may be wider than theirs
  bool round = false;     ///< numbers are rounded to their field's decimals
};

/// Reads cells into the field buffer of a work area.
class ValueReader {
 public:
  explicit ValueReader(ValueRules rules) : rules_(rules) {}

  /// Sets a field in the buffer, which is blank there. Memo fields are not set.
  /// @return empty, or why the value cannot be had and what to do, as in `is not a date.\n  next: write 2004-03-17.`
  std::string store(const ControlFieldTBL& field, std::string_view cell, char* buffer);
  /// The text of a memo's cell as it is stored; `problem` is told as above.
  std::string_view memo(std::string_view cell, std::string& problem);
  /// How many numbers were rounded.
  std::uint64_t rounded() const { return rounded_; }

 private:
  std::string_view converted(std::string_view cell, std::string& problem);
  std::string storeText(const ControlFieldTBL& field, std::string_view cell, char* at);
  std::string storeNumber(const ControlFieldTBL& field, std::string_view cell, char* at);

  ValueRules rules_;
  std::uint64_t rounded_ = 0;
  std::string latin1_;
};

/// Why a number cannot stand in a field, for an error text; null when it can. Decimals that come of computing with
/// doubles do not count.
const char* misfit(const ControlFieldTBL& field, double value);
/// A field's type as it is declared, as in N:8:2.
std::string typeText(const ControlFieldTBL& field);

/// The number or date that a text means; false for none. Blanks around a number are taken off.
bool readNumber(std::string_view text, double& value);
bool readDate(std::string_view text, double& value);

/// Adds a number with so many decimals, or with as many as it takes to read the same number again. Nothing for what is
/// no number (NaN, infinite).
void appendNumber(std::string& to, int decimals, double value);
/// Adds a date; nothing for the empty date and what lies outside the years 1 to 9999.
void appendDate(std::string& to, double value);
/// Adds ISO-8859-1 bytes as UTF-8.
void appendUtf8(std::string& to, std::string_view latin1);
/// Adds them as a JSON string.
void appendJsonText(std::string& to, std::string_view latin1);

}  // namespace tool
