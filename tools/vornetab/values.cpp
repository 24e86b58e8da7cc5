// A condition's value becomes ranges of keys that hold at least every record for which the condition is true; SQLite
// looks at each record once more.
#include "values.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string>

#include "text/text.h"

namespace vornetab {
namespace {

using vorne::CellType;
using vorne::KeyRanges;
using vorne::TableField;

constexpr double kLargestWhole = 9007199254740992.0;  // 2^53: above it doubles leave out whole numbers

const KeyRanges kEveryKey = {{}};
const KeyRanges kNoKey = {};

bool isNumeric(sqlite3_value* value) {
  const int type = sqlite3_value_numeric_type(value);
  return type == SQLITE_INTEGER || type == SQLITE_FLOAT;
}

std::string_view utf8Of(sqlite3_value* value) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  return text == nullptr ? std::string_view()
                         : std::string_view(text, static_cast<std::size_t>(sqlite3_value_bytes(value)));
}

struct Latin1 {
  std::string text;
  bool isWhole = true;  // false: it has a character that no field has, and `text` is what stands before it
};
Latin1 latin1Of(sqlite3_value* value) {
  const std::string_view utf8 = utf8Of(value);
  try {
    return {tool::latin1FromUtf8(utf8), true};
  } catch (const tool::ConversionError& error) {
    return {tool::latin1FromUtf8(utf8.substr(0, error.offset)), false};
  }
}

// The values of a plan's conditions by what they are for.
struct Bounds {
  sqlite3_value* least = nullptr;
  sqlite3_value* most = nullptr;

  Bounds(const Plan& plan, sqlite3_value** values) {
    if (plan.exact || plan.least) least = *values;
    if (plan.exact)
      most = *values;
    else if (plan.most)
      most = values[plan.least ? 1 : 0];
  }
  template <class IsSo>
  bool all(IsSo isSo) const {
    return (least == nullptr || isSo(least)) && (most == nullptr || isSo(most));
  }
};

template <class Convert>
auto optionally(sqlite3_value* value, Convert convert) {
  return value == nullptr ? std::nullopt : std::make_optional(convert(value));
}

KeyRanges rangesOfTexts(const TableField& field, const Plan& plan, const Bounds& bounds) {
  const auto least = optionally(bounds.least, latin1Of), most = optionally(bounds.most, latin1Of);
  if (plan.exact && field.type == CellType::kText)
    return least->isWhole ? vorne::RangesOfText(field, least->text) : kNoKey;
  const auto textOf = [](const std::optional<Latin1>& bound) {
    return bound ? std::make_optional(std::string_view(bound->text)) : std::nullopt;
  };
  return field.type == CellType::kDate ? vorne::RangesOfDates(textOf(least), textOf(most))
                                       : vorne::RangesOfTexts(field, textOf(least), textOf(most));
}

KeyRanges rangesOfLogical(sqlite3_value* value) {
  const double number = sqlite3_value_double(value);
  // Logicals are shown as 0 and 1: no record equals another number.
  return number == 0 || number == 1 ? vorne::RangesOfLogical(number == 1) : kNoKey;
}

}  // namespace

KeyRanges rangesOf(const TableField& field, const Plan& plan, sqlite3_value** values) {
  const Bounds bounds(plan, values);
  // Nothing is equal to NULL, nor above or below it.
  if (!bounds.all([](sqlite3_value* value) { return sqlite3_value_type(value) != SQLITE_NULL; })) return kNoKey;
  if (field.type == CellType::kNumber || field.type == CellType::kLogical) {
    if (!bounds.all(isNumeric)) return kEveryKey;
    return field.type == CellType::kNumber
               ? vorne::RangesOfNumbers(field, optionally(bounds.least, sqlite3_value_double),
                                        optionally(bounds.most, sqlite3_value_double))
               : (bounds.least == nullptr ? kEveryKey : rangesOfLogical(bounds.least));
  }
  // A number may come from a column of numbers, beside which texts such as '05' are compared as numbers.
  if (!bounds.all([](sqlite3_value* value) { return sqlite3_value_type(value) == SQLITE_TEXT; })) return kEveryKey;
  return rangesOfTexts(field, plan, bounds);
}

void giveText(sqlite3_context* context, std::string_view latin1) {
  const bool isAscii =
      std::all_of(latin1.begin(), latin1.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
  const std::string utf8 = isAscii ? std::string() : tool::utf8FromLatin1(latin1);
  const std::string_view text = isAscii ? latin1 : std::string_view(utf8);
  sqlite3_result_text(context, text.data() == nullptr ? "" : text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
}

void giveField(sqlite3_context* context, const TableField& field, const vorne::Row& row, std::size_t number) {
  switch (field.type) {
    case CellType::kNumber: {
      const double value = row.number(number);
      const bool isWhole = field.decimals == 0 && std::abs(value) <= kLargestWhole && value == std::trunc(value);
      return isWhole ? sqlite3_result_int64(context, static_cast<sqlite3_int64>(value))
                     : sqlite3_result_double(context, value);
    }
    case CellType::kDate: {
      const std::string date = row.date(number);
      return date.empty() ? sqlite3_result_null(context) : giveText(context, date);
    }
    case CellType::kText:
      return giveText(context, row.text(number));
    case CellType::kLogical:
      return sqlite3_result_int(context, row.logical(number));
    case CellType::kMemo:
      return giveText(context, row.memo(number));
    case CellType::kNone:
      return sqlite3_result_null(context);
  }
}

}  // namespace vornetab
