// The values of a table's fields as they are written outside the store: UTF-8 texts, numbers with a point, dates as
// 2004-03-17, logicals as true and false; nothing for the empty date.
#pragma once

#include <string>
#include <string_view>

#include "storage/tables.h"

namespace tool {

struct ValueRules {
  bool latin1 = false;    ///< texts come as ISO-8859-1, else as UTF-8
  bool truncate = false;  ///< texts are cut to their field, and numbers may be wider than theirs
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

 private:
  std::string_view converted(std::string_view cell, std::string& problem);
  std::string storeText(const ControlFieldTBL& field, std::string_view cell, char* at);

  ValueRules rules_;
  std::string latin1_;
};

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
