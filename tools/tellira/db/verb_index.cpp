// `tellira db index create`, `index drop` and `reindex`: the indexes of a table.
#include <algorithm>
#include <functional>
#include <optional>
#include <vector>

#include "db/db.h"
#include "db/dictionary.h"
#include "db/new_names.h"
#include "db/table_session.h"
#include "db/words.h"
#include "edge/console.h"
#include "edge/progress.h"
#include "storage/format/keys.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr const char* kIndexFooter = R"(
Examples:
  tellira db index create CUSTOMER BYNAME NAME,CODE
  tellira db index drop CUSTOMER BYNAME)";

constexpr const char* kCreateFooter = R"(
The fields make the key in the order given; memo fields cannot be in it. The program keeps the index up to date from
then on. Its name is a database's: no other table's index may have it.

Example:
  tellira db index create CUSTOMER BYNAME NAME,CODE

Exit status: 0 done, 1 there is no such table, 2 wrong usage or input, or the databases are in use.)";

constexpr const char* kDropFooter = R"(
Exit status: 0 done, 1 there is no such table or index, 2 wrong usage, or the databases are in use.)";

constexpr const char* kReindexFooter = R"(
Makes all indexes of the table anew from its records.

Exit status: 0 done, 1 there is no such table, 2 wrong usage, or the databases are in use.)";

constexpr std::size_t kLongestName = 28;  // with room for the suffix of an offsets file

struct IndexOptions {
  std::string table, index, fields;
};

[[noreturn]] void refuse(const std::string& what, const std::string& next) {
  throw Failure(kUsage, what + ".\n  next: " + next + ".");
}

std::string checkedName(const std::string& name) {
  const std::string capitals = upperCase(name);
  const bool plain = std::all_of(capitals.begin(), capitals.end(), [](char c) {
    return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
  });
  if (name.empty() || name.size() > kLongestName || !plain || name[0] == '-' || capitals == "INVALID_INDEX")
    refuse("\"" + name + "\" cannot be the name of an index",
           "take 1 to " + std::to_string(kLongestName) + " letters, digits, \"_\" and \"-\", as in BYNAME");
  return capitals;
}

std::vector<IDX_Indexes> keyFields(const Dictionary::Table& table, const std::string& list) {
  std::vector<IDX_Indexes> key;
  for (const std::string& name : split(list, ',')) {
    key.push_back({table.field(trimmed(name))});
    const ControlFieldTBL& field = table.fields()[key.back().KeyField - 1];
    if (vorne::KeyRoom(field) == 0)
      refuse("the field " + shown(field.FieldName) + " cannot be part of a key: its type is " +
                 vorne::TypeLetter(field.FieldType),
             "leave it out");
  }
  if (vorne::KeyRoom(table.fields(), key) == 0)
    refuse("the fields " + list + " make a key that is too long", "leave fields out");
  return key;
}

int runCreate(const DbOptions& group, const IndexOptions& options) {
  const std::string directory = group.checkedDirectory();
  const std::string name = checkedName(options.index);
  const Dictionary::Table table = Dictionary(directory).table(options.table, Use::kWrites);
  std::vector<std::uint32_t> fields;
  for (const IDX_Indexes& part : keyFields(table, options.fields)) fields.push_back(part.KeyField);
  TableSession session(directory);
  // Read anew under the session's lock: another tool may have made one of that name a moment ago.
  refuseTaken(Dictionary(directory), name);
  std::optional<Working> going("making the index " + name + " of " + shown(table.name));
  const int area = session.open(table.name);
  if (__TrataCriaIndice(area, name.c_str(), fields.data(), static_cast<int>(fields.size())) != 1)
    refuse("the index " + name + " could not be made",
           "look whether a file of that name is in " + directory + vorne::kDataDirectory);
  going.reset();
  const Obj_Node* records = __TBL_RecCount();
  const auto count = static_cast<std::uint64_t>(records->objData.mdbl);
  session.close();
  note("made the index " + name + " of " + shown(table.name) + " with " + counted(count, "record") + ".");
  return kDone;
}

int runDrop(const DbOptions& group, const IndexOptions& options) {
  const std::string directory = group.checkedDirectory();
  const Dictionary::Table table = Dictionary(directory).table(options.table, Use::kWrites);
  const std::string name = table.index(options.index).name;
  TableSession session(directory);
  session.open(table.name);
  const Obj_Node* gone = __DBDROPINDEX(__INIT_CHARPTR(name.c_str()));
  if (gone->objData.mbool == 0)
    refuse("the index " + shown(name) + " could not be removed",
           "look at the rights of " + directory + vorne::kDataDirectory);
  session.close();
  note("dropped the index " + shown(name) + " of " + shown(table.name) + ".");
  return kDone;
}

int runReindex(const DbOptions& group, const IndexOptions& options) {
  const std::string directory = group.checkedDirectory();
  const Dictionary::Table table = Dictionary(directory).table(options.table, Use::kWrites);
  TableSession session(directory);
  {
    const Working going("making the indexes of " + shown(table.name) + " anew");
    session.open(table.name);
    __Reindex();
  }
  session.close();
  note("made " + counted(table.indexes.size(), "index", "indexes") + " of " + shown(table.name) + " anew.");
  return kDone;
}

}  // namespace

void addDbIndex(Verb& group, const SharedDbOptions& shared) {
  auto options = std::make_shared<IndexOptions>();
  Verb index = group.verb("index", "Make or remove an index of a table");
  index.footer(kIndexFooter);

  Verb create = index.verb("create", "Make an index, filled from the table's records");
  create.argument("TABLE", options->table, "Name of the table");
  create.argument("INDEX", options->index, "Name of the new index");
  create.argument("FIELDS", options->fields, "Key fields, with commas between them");
  create.footer(kCreateFooter);
  create.action([shared, options] { return runCreate(*shared, *options); });

  Verb drop = index.verb("drop", "Remove an index; the table stays as it is");
  drop.argument("TABLE", options->table, "Name of the table");
  drop.argument("INDEX", options->index, "Name of the index");
  drop.footer(kDropFooter);
  drop.action([shared, options] { return runDrop(*shared, *options); });

  Verb reindex = group.verb("reindex", "Make all indexes of a table anew");
  reindex.argument("TABLE", options->table, "Name of the table");
  reindex.footer(kReindexFooter);
  reindex.action([shared, options] { return runReindex(*shared, *options); });
}

}  // namespace tool
