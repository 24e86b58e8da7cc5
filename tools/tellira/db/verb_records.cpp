// `tellira db delete`, `recall`, `pack` and `zap`: deletion marks, and the removal of records.
#include "db/db.h"
#include "db/dictionary.h"
#include "db/table_session.h"
#include "db/words.h"
#include "edge/confirm.h"
#include "edge/console.h"
#include "edge/progress.h"
#include "storage/format/record_bytes.h"

namespace tool {
namespace {

constexpr const char* kMarkFooter = R"(
A deleted record is only marked: `recall` brings it back until `pack` removes it. Record numbers count from 1;
`tellira db seek` tells them. Deletions never go up to a host: what it has got is to be deleted there.

Examples:
  tellira db delete CUSTOMER 12
  tellira db recall CUSTOMER 12

Exit status: 0 done, 1 there is no such table or record, 2 wrong usage, or the databases are in use.)";

constexpr const char* kRemoveFooter = R"(
What is removed cannot be brought back. Pack leaves memo texts where they are; zap removes them too.

Examples:
  tellira db pack CUSTOMER --yes
  tellira db zap CUSTOMER --yes

Exit status: 0 done, 1 there is no such table, or nobody agreed, 2 wrong usage, or the databases are in use.)";

struct RecordsOptions {
  std::string table;
  std::uint32_t record = 0;
  bool yes = false;
};

/// Marks a record, or takes its mark away.
int runMark(const DbOptions& group, const RecordsOptions& options, bool deletes) {
  const std::string directory = group.checkedDirectory();
  const Dictionary::Table table = Dictionary(directory).table(options.table, Use::kWrites);
  TableSession session(directory);
  const VORNE_RDD& area = *vorne::AreaAt(session.open(table.name));
  const int count = vorne::RecordCount(area);
  const std::string name = "record " + std::to_string(options.record) + " of " + shown(table.name);
  if (options.record < 1 || options.record > static_cast<std::uint32_t>(count))
    throw Failure(kNo, "there is no " + name + ", which has " + counted(static_cast<std::uint64_t>(count), "record") +
                           ".\n  next: `tellira db seek` tells record numbers; they count from 1.");
  if (__TBL_GoTo(nullptr, __INIT_DOUBLE(options.record))->objData.mbool == 0)
    throw Failure(kNo, name + " cannot be read.\n  next: `tellira db check` tells why.");
  const bool isDeleted = vorne::IsMarkedDeleted(vorne::FieldsOf(area), area.TBL_buff);
  if (isDeleted != deletes) {
    if (deletes)
      __TBL_Delete();
    else
      __TBL_Recall();
    __Commit();
  }
  session.close();
  note(name + (isDeleted == deletes ? " already was " : " is ") + (deletes ? "deleted." : "not deleted."));
  return kDone;
}

/// Removes the deleted records, or all.
int runRemoval(const DbOptions& group, const RecordsOptions& options, bool all) {
  const std::string directory = group.checkedDirectory();
  const Dictionary::Table table = Dictionary(directory).table(options.table, Use::kWrites);
  const std::string what = all ? "all records" : "the deleted records";
  if (!confirmed("remove " + what + " of " + shown(table.name) + " in " + directory + " for good", options.yes)) {
    note("Nothing was changed.");
    return kNo;
  }
  TableSession session(directory);
  const VORNE_RDD& area = *vorne::AreaAt(session.open(table.name));
  const int before = vorne::RecordCount(area);
  {
    const Working going((all ? "emptying " : "packing ") + shown(table.name));
    if (all)
      __dbZap();
    else
      __dbPack();
  }
  const int removed = before - vorne::RecordCount(area);
  session.close();
  note("removed " + std::to_string(removed) + " of " + counted(static_cast<std::uint64_t>(before), "record") +
       " from " + shown(table.name) + ".");
  return kDone;
}

struct VerbRow {
  const char* name;
  const char* description;
  const char* footer;
  int (*run)(const DbOptions&, const RecordsOptions&, bool);
  bool argument;
};
constexpr VerbRow kVerbs[] = {
    {"delete", "Mark a record as deleted", kMarkFooter, runMark, true},
    {"recall", "Take a record's deletion mark away", kMarkFooter, runMark, false},
    {"pack", "Remove the deleted records of a table for good", kRemoveFooter, runRemoval, false},
    {"zap", "Remove all records of a table for good", kRemoveFooter, runRemoval, true},
};

}  // namespace

void addDbRecords(Verb& group, const SharedDbOptions& shared) {
  for (const VerbRow& row : kVerbs) {
    auto options = std::make_shared<RecordsOptions>();
    Verb verb = group.verb(row.name, row.description);
    verb.argument("TABLE", options->table, "Name of the table");
    if (row.run == runMark)
      verb.argument("RECNO", options->record, "Number of the record, from 1");
    else
      verb.flag("--yes", options->yes, "Do not ask before");
    verb.footer(row.footer);
    verb.action([shared, options, &row] { return row.run(*shared, *options, row.argument); });
  }
}

}  // namespace tool
