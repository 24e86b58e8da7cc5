// `tellira db create` and `tellira db drop`: tables come and go.
#include <algorithm>
#include <charconv>
#include <filesystem>
#include <vector>

#include "db/db.h"
#include "db/dictionary.h"
#include "db/table_session.h"
#include "db/words.h"
#include "edge/confirm.h"
#include "edge/console.h"
#include "edge/paths.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr const char* kCreateFooter = R"(
A FIELD is NAME:TYPE:LEN[:DEC]. The types:
  C:LEN        text of LEN characters, 1 to 32767
  N:LEN[:DEC]  number of LEN characters, 1 to 32, of which a point and DEC decimals
  D            date
  L            logical
  M            memo: text of up to 65534 characters
Names have letters, digits and underscores, 20 of them at most (a table's 26, and dashes), and begin with a letter.

Examples:
  tellira db create CUSTOMER CODE:C:12 NAME:C:30 LIMIT:N:12:2 SINCE:D ACTIVE:L NOTES:M
  tellira db import CUSTOMER customers.csv

Exit status: 0 done, 2 wrong usage or input, or a database of that name is there.)";

constexpr const char* kDropFooter = R"(
The table goes with its memo texts and its indexes. It cannot be brought back.

Example:
  tellira db drop CUSTOMER --yes

Exit status: 0 done, 1 there is no such table, or nobody agreed, 2 wrong usage, or the databases are in use.)";

constexpr std::size_t kLongestName = 26;  // the files beside a table have suffixes
constexpr int kWidestNumber = 32;
constexpr std::size_t kLargestBlock = vorne::kSmallestFile;
constexpr std::size_t kEndMark = 2;

[[noreturn]] void refuse(const std::string& what, const std::string& next) {
  throw Failure(kUsage, what + ".\n  next: " + next + ".");
}

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
    record += added.FieldType == TBLSTRING ? static_cast<std::size_t>(added.FieldLen) + 1 : 8;
  }
  vorne::TableDescription description;
  description.fields = fields;
  if (vorne::TableBlock(description).size() + kLongestName > kLargestBlock || fields.size() + 1 >= vorne::kMostFields)
    refuse(std::to_string(fields.size()) + " fields are more than a description has room for",
           "make two tables of them");
  if (record > vorne::kLargestRecord)
    refuse("records of up to " + std::to_string(record) + " bytes are longer than the longest, " +
               std::to_string(vorne::kLargestRecord),
           "shorten fields, or make memos of them");
  return fields;
}

struct CreateOptions {
  std::string table;
  std::vector<std::string> fields;
};

/// Where the new table's files would take the place of a database's.
void refuseTaken(const Dictionary& dictionary, const std::string& table) {
  for (const char* suffix : {"", vorne::kMemoSuffix, vorne::kOffsetsSuffix, "_M_OS"})
    if (const auto* taken = dictionary.inTheWayOf(table + suffix))
      refuse(Dictionary::takenText(*taken, table + suffix),
             "take another name, or drop the table first (`tellira db drop " + shown(taken->name) + "`)");
}

Obj_Node* structureOf(const std::vector<ControlFieldTBL>& fields) {
  Obj_Node* structure = nullptr;
  for (const ControlFieldTBL& field : fields) {
    const char letter[] = {vorne::TypeLetter(field.FieldType), '\0'};
    Obj_Node* row = __CreateArray(__INIT_CHARPTR(field.FieldName), __INIT_CHARPTR(letter),
                                  __INIT_DOUBLE(field.FieldLen), __INIT_DOUBLE(field.FieldDecLen), __INIT_NUL());
    structure = structure == nullptr ? __CreateArray(row, __INIT_NUL()) : __AAdd(structure, row);
  }
  return structure;
}

int runCreate(const DbOptions& group, const CreateOptions& options) {
  const std::string directory = absolute(group.directory);
  const std::string name = checkedName(options.table, "table", kLongestName, "_-");
  const std::vector<ControlFieldTBL> fields = parsedFields(options.fields);
  TableSession session(directory);
  const Dictionary dictionary(directory);
  refuseTaken(dictionary, name);
  const Obj_Node* made = __DBCREATE(__INIT_CHARPTR(name.c_str()), structureOf(fields));
  if (made->objData.mbool == 0)
    refuse("the table " + name + " could not be made", "look whether files of that name are in " + directory + "/DB");
  session.close();
  note("made the table " + name + " with " + counted(fields.size(), "field") + ".");
  return kDone;
}

struct DropOptions {
  std::string table;
  bool yes = false;
};

int runDrop(const DbOptions& group, const DropOptions& options) {
  const std::string directory = group.checkedDirectory();
  const Dictionary::Table table = Dictionary(directory).table(options.table);
  if (!confirmed("drop the table " + shown(table.name) + " of " + directory + " for good", options.yes)) {
    note("Nothing was changed.");
    return kNo;
  }
  TableSession session(directory);
  const Obj_Node* gone = __TBL_DeleteDatabase(__INIT_CHARPTR(table.name.c_str()));
  if (gone->objData.mbool == 0)
    refuse("the table " + shown(table.name) + " could not be removed", "look at the rights of " + directory + "/DB");
  session.close();
  note("dropped the table " + shown(table.name) + ".");
  return kDone;
}

}  // namespace

void addDbCreate(Verb& group, const SharedDbOptions& shared) {
  auto create = std::make_shared<CreateOptions>();
  Verb made = group.verb("create", "Make a table");
  made.argument("TABLE", create->table, "Name of the new table");
  made.arguments("FIELD", create->fields, "Its fields in order: NAME:TYPE:LEN[:DEC]");
  made.footer(kCreateFooter);
  made.action([shared, create] { return runCreate(*shared, *create); });

  auto drop = std::make_shared<DropOptions>();
  Verb dropped = group.verb("drop", "Remove a table with its memo texts and indexes");
  dropped.argument("TABLE", drop->table, "Name of the table");
  dropped.flag("--yes", drop->yes, "Do not ask before");
  dropped.footer(kDropFooter);
  dropped.action([shared, drop] { return runDrop(*shared, *drop); });
}

}  // namespace tool
