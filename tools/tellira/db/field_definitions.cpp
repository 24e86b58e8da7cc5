#include "db/field_definitions.h"

#include <algorithm>
#include <charconv>
#include <string_view>

#include "edge/console.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr std::size_t kLongestTable = vorne::kLongestTableName;
constexpr std::size_t kLongestTableWithMemo = 29;  // its memo texts' database has a suffix
constexpr int kWidestNumber = 32;
constexpr std::size_t kLargestBlock = vorne::kSmallestFile;
constexpr std::size_t kEndMark = 2;

bool isLetter(char c) {
  return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/// A name in capital letters.
std::string checkedName(const std::string& name, const char* noun, std::size_t longest, const char* alsoAllowed) {
  const auto isAllowed = [&](char c) {
    return isLetter(c) || (c >= '0' && c <= '9') || std::string_view(alsoAllowed).find(c) != std::string_view::npos;
  };
  if (name.empty() || name.size() > longest || !isLetter(name[0]) || !std::all_of(name.begin(), name.end(), isAllowed))
    refuse("\"" + name + "\" cannot be the name of a " + noun, "take 1 to " + std::to_string(longest) +
                                                                   " letters, digits and \"" + alsoAllowed +
                                                                   "\", a letter first, as in SALES_2026");
  return upperCase(name);
}

int numberIn(const std::string& text, const std::string& field, const char* what, int least, int most) {
  int value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc{} || end != text.data() + text.size() || value < least || value > most)
    refuse("\"" + text + "\" in \"" + field + "\" is no " + what,
           "write a number from " + std::to_string(least) + " to " + std::to_string(most));
  return value;
}

struct TypeRow {
  char letter;
  int mostLength;  // 0: it goes without saying
  int fixedLength;
  bool hasDecimals;
};
constexpr TypeRow kTypes[] = {{'C', vorne::kLongestField, 0, false},
                              {'N', kWidestNumber, 0, true},
                              {'D', 0, 8, false},
                              {'L', 0, 1, false},
                              {'M', 0, 4, false}};

ControlFieldTBL parsedField(const std::string& text) {
  const std::vector<std::string> parts = split(text, ':');
  const auto part = [&parts](std::size_t i) { return i < parts.size() ? parts[i] : std::string(); };
  const std::string name = checkedName(part(0), "field", vorne::kLongestFieldName, "_");
  const std::string letter = upperCase(part(1));
  const auto* row = std::find_if(std::begin(kTypes), std::end(kTypes),
                                 [&](const TypeRow& type) { return letter == std::string(1, type.letter); });
  if (row == std::end(kTypes))
    refuse("\"" + text + "\" has no type that can be stored",
           "write NAME:TYPE:LEN[:DEC] with a type C, N, D, L or M, as in PRICE:N:12:2");
  int length = row->fixedLength, decimals = 0;
  if (row->mostLength != 0) {
    if (part(2).empty()) refuse("\"" + text + "\" has no length", "write one, as in " + name + ":" + letter + ":10");
    length = numberIn(part(2), text, "length", 1, row->mostLength);
  } else if (!part(2).empty()) {
    numberIn(part(2), text, "length of this type", row->fixedLength, row->fixedLength);
  }
  if (row->hasDecimals && !part(3).empty())
    decimals = numberIn(part(3), text, "count of decimals that has room beside the point", 0, std::max(0, length - 2));
  if (parts.size() > (row->hasDecimals ? 4U : 3U) && (parts.size() > 4 || part(3) != "0"))
    refuse("\"" + text + "\" says more than a field of type " + letter + " has", "leave out what follows the length");
  return vorne::MakeField(name, *vorne::TypeOfLetter(row->letter), length, decimals);
}

}  // namespace

void refuse(const std::string& what, const std::string& next) {
  throw Failure(kUsage, what + ".\n  next: " + next + ".");
}

std::string checkedTableName(const std::string& name, const std::vector<ControlFieldTBL>& fields) {
  const auto isMemo = [](const ControlFieldTBL& field) { return field.FieldType == TBLMEMO; };
  const bool memo = std::any_of(fields.begin(), fields.end(), isMemo);
  return checkedName(name, "table", memo ? kLongestTableWithMemo : kLongestTable, "_-");
}

std::vector<ControlFieldTBL> parsedFields(const std::vector<std::string>& texts) {
  std::vector<ControlFieldTBL> fields;
  std::size_t record = kEndMark;
  for (const std::string& text : texts) {
    fields.push_back(parsedField(text));
    const ControlFieldTBL& added = fields.back();
    if (vorne::FieldNumber(vorne::Fields(fields).first(fields.size() - 1), added.FieldName) != 0)
      refuse(std::string("there are two fields ") + added.FieldName, "give each field a name of its own");
    if (std::string_view(added.FieldName) == kDeletionField)
      refuse(std::string("the name ") + kDeletionField + " is every table's own mark", "take another one");
    // By the longest that each field can get: a record that could not be stored would be found out only at the cash
    // desk.
    record += added.FieldType == TBLSTRING ? static_cast<std::size_t>(added.FieldLen) + 1 : 8;
  }
  vorne::TableDescription description;
  description.fields = fields;
  if (vorne::TableBlock(description).size() + kLongestTable > kLargestBlock || fields.size() + 1 >= vorne::kMostFields)
    refuse(std::to_string(fields.size()) + " fields are more than a description has room for",
           "make two tables of them");
  if (record > vorne::kLargestRecord)
    refuse("records of up to " + std::to_string(record) + " bytes are longer than the longest, " +
               std::to_string(vorne::kLargestRecord),
           "shorten fields, or make memos of them");
  return fields;
}

}  // namespace tool
