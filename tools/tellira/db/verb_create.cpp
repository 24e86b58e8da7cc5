// `tellira db create` and `tellira db drop`: tables come and go.
#include <algorithm>
#include <filesystem>
#include <vector>

#include "db/db.h"
#include "db/dictionary.h"
#include "db/field_definitions.h"
#include "db/new_names.h"
#include "db/table_session.h"
#include "db/words.h"
#include "edge/confirm.h"
#include "edge/console.h"
#include "edge/paths.h"
#include "storage/files/kept_copies.h"
#include "storage/format/names.h"
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
Names have letters, digits and underscores, 20 of them at most (a table's 30, 29 with memo fields, and dashes), and begin with a letter.

Examples:
  tellira db create CUSTOMER CODE:C:12 NAME:C:30 LIMIT:N:12:2 SINCE:D ACTIVE:L NOTES:M
  tellira db import CUSTOMER customers.csv

Exit status: 0 done, 2 wrong usage or input, or a database of that name is there.)";

constexpr const char* kDropFooter = R"(
A table goes with its memo texts and its indexes. It cannot be brought back. Any other database goes alone.

Example:
  tellira db drop CUSTOMER --yes

Exit status: 0 done, 1 there is no such database, or nobody agreed, 2 wrong usage, or the databases are in use.)";

struct CreateOptions {
  std::string table;
  std::vector<std::string> fields;
};

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
  const std::vector<ControlFieldTBL> fields = parsedFields(options.fields);
  const std::string name = checkedTableName(options.table, fields);
  TableSession session(directory);
  const Dictionary dictionary(directory);
  // Read and asked under the session's lock: another tool may have made one of that name a moment ago.
  refuseTaken(dictionary, name);
  refuseTaken(dictionary, name + vorne::kMemoSuffix);
  const Obj_Node* made = __DBCREATE(__INIT_CHARPTR(name.c_str()), structureOf(fields));
  if (made->objData.mbool == 0)
    refuse("the table " + name + " could not be made",
           "look whether files of that name are in " + directory + vorne::kDataDirectory);
  session.close();
  const auto old = vorne::PutAwayIn(directory + vorne::kDataDirectory);
  if (const auto found = old.find(vorne::FoldedName(name)); found != old.end())
    note("files of an older " + shown(name) + " are in " + found->second +
         ": they were put away for a new one that was never finished.");
  note("made the table " + name + " with " + counted(fields.size(), "field") + ".");
  return kDone;
}

struct DropOptions {
  std::string table;
  bool yes = false;
};

/// What belongs to a table whose file is there may be missed once a repair has found the table. False when it could not
/// be kept.
bool keepOfLostTable(const Dictionary& dictionary, const vorne::StoredDatabase& database, const std::string& data) {
  if (dictionary.lostTableOf(database).empty()) return true;
  std::vector<std::string> files = {database.name};
  const std::string offsets = vorne::OffsetsName(database.name);
  if (database.entry.type != vorne::kTypeIndex && std::filesystem::exists(data + "/" + offsets))
    files.push_back(offsets);
  return vorne::KeepTogether(data, files);
}

int runDrop(const DbOptions& group, const DropOptions& options) {
  const std::string directory = group.checkedDirectory();
  const Dictionary dictionary(directory);
  const vorne::StoredDatabase* found = dictionary.database(options.table);
  if (found == nullptr) throw Failure(kNo, dictionary.unknownText(options.table, "database"));
  dictionary.demandFiles(*found, Use::kWrites);
  const bool isTable = found->entry.type == vorne::kTypeData;
  const std::string what =
      isTable ? "table " + shown(found->name) : codeText(found->entry.type) + " database " + shown(found->name);
  if (!confirmed("drop the " + what + " of " + directory + " for good", options.yes)) {
    note("Nothing was changed.");
    return kNo;
  }
  TableSession session(directory);
  const char* name = found->name.c_str();
  if (!keepOfLostTable(dictionary, *found, directory + vorne::kDataDirectory))
    refuse("no copy of " + shown(found->name) + " could be kept, which belongs to a table that the catalogue has lost",
           "run `tellira db check --repair`, or look at the rights of " + directory + vorne::kDataDirectory);
  const bool gone = isTable ? __TBL_DeleteDatabase(__INIT_CHARPTR(name))->objData.mbool != 0
                            : DmDeleteDatabase(0, DmFindDatabase(0, name)) == errNone;
  if (!gone)
    refuse("the " + what + " could not be removed", "look at the rights of " + directory + vorne::kDataDirectory);
  session.close();
  note("dropped the " + what + ".");
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
  Verb dropped = group.verb("drop", "Remove a table with its memo texts and indexes, or another database");
  dropped.argument("NAME", drop->table, "Name of the table or database");
  dropped.flag("--yes", drop->yes, "Do not ask before");
  dropped.footer(kDropFooter);
  dropped.action([shared, drop] { return runDrop(*shared, *drop); });
}

}  // namespace tool
