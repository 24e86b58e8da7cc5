// SQLite takes a table's columns from the text of a CREATE TABLE statement. Names of fields may be anything, so they
// are quoted, and made different where two are the same in any letters.
#include "columns.h"

#include <set>

#include "text/text.h"

namespace vornetab {
namespace {

using vorne::CellType;

// What a column is declared as decides how SQLite compares it. A date is a text with a name of its own: as a mere DATE
// it would be compared as a number with what looks like one, such as '2004'.
const char* declaredType(const vorne::TableField& field) {
  switch (field.type) {
    case CellType::kNumber:
      return field.decimals == 0 ? "NUMERIC" : "REAL";
    case CellType::kDate:
      return "DATE TEXT";
    case CellType::kLogical:
      return "BOOLEAN";
    case CellType::kNone:
      return "BLOB";
    default:
      return "TEXT";
  }
}

std::string quoted(const std::string& name) {
  std::string text = "\"";
  for (const char c : name) text += c == '"' ? "\"\"" : std::string(1, c);
  return text + "\"";
}

class Names {
 public:
  std::string unique(const std::string& wanted) {
    std::string name = wanted;
    for (int number = 2; !used_.insert(tool::upperCase(name)).second; ++number)
      name = wanted + "_" + std::to_string(number);
    return name;
  }

 private:
  std::set<std::string> used_;
};

}  // namespace

std::string declarationOf(const std::vector<vorne::TableField>& fields) {
  Names names;
  std::string text = "CREATE TABLE x(" + quoted(names.unique("_deleted")) + " BOOLEAN HIDDEN, " +
                     quoted(names.unique("recno")) + " INTEGER HIDDEN";
  for (const vorne::TableField& field : fields)
    text += ", " + quoted(names.unique(tool::utf8FromLatin1(field.name))) + " " + declaredType(field);
  return text + ")";
}

}  // namespace vornetab
