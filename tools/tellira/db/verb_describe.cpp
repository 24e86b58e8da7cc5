// `tellira db describe`: a table that has lost its description gets it back.
#include <vector>

#include "db/db.h"
#include "db/dictionary.h"
#include "db/directory_lock.h"
#include "db/field_definitions.h"
#include "db/words.h"
#include "edge/console.h"
#include "storage/repair/describe_table.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
For a table whose description cannot be read any more, as `tellira db check` tells. The fields are those that it was made
with, in their order (`tellira db create --help` explains them). They are held against every record and index before
anything is written; the file as it was is copied to DB/repair-DATE_TIME. The program must not be running.

Example:
  tellira db describe CUSTOMER CODE:C:12 NAME:C:30 LIMIT:N:12:2

Exit status: 0 done, 1 there is no such table, or records do not fit the fields, 2 wrong usage, or the table has its
description.)";

struct DescribeOptions {
  std::string table;
  std::vector<std::string> fields;
};

int runDescribe(const DbOptions& group, const DescribeOptions& options) {
  const std::string directory = group.checkedDirectory();
  const DirectoryLock lock(directory);
  const Dictionary dictionary(directory);
  const vorne::StoredDatabase* found = dictionary.database(options.table);
  if (found == nullptr) throw Failure(kNo, dictionary.unknownText(options.table, "table"));
  if (found->entry.type != vorne::kTypeData)
    refuse(shown(found->name) + " is no table: its type is " + codeText(found->entry.type),
           "`tellira db list` shows all types");
  dictionary.demandFiles(*found, Use::kWrites);
  const vorne::Described described = vorne::DescribeTable(directory, found->name, parsedFields(options.fields));
  if (described.isSame) {
    note(shown(found->name) + " is described so already; nothing was changed.");
    return kDone;
  }
  for (const vorne::Problem& misfit : described.problems)
    print(shown(misfit.file) + (misfit.record < 0 ? "" : ", record " + std::to_string(misfit.record)) + ": " +
          shown(misfit.problem) + "\n");
  const std::string misfits =
      std::to_string(described.misfits) + " of " + counted(described.records, "record") + " do not fit";
  if (described.isRefused)
    throw Failure(
        kEnded,
        shown(described.refusal) +
            ".\n  next: look at the rights of the file and the room on the disk; the records are as they were.");
  if (!described.written && described.misfits != 0)
    throw Failure(kNo, shown(found->name) + ": " + misfits +
                           " these fields; nothing was changed.\n  next: describe it " +
                           "with the fields that it was made with.");
  if (!described.written) throw Failure(kUsage, shown(described.refusal) + ".\n  Nothing was changed.");
  note("described the table " + shown(found->name) + "; the file as it was is in " + described.copies + ".");
  if (described.misfits == 0) return kDone;
  note(misfits + ".\n  next: `tellira db check --repair` leaves the values empty that cannot be read.");
  return kNo;
}

}  // namespace

void addDbDescribe(Verb& group, const SharedDbOptions& shared) {
  auto options = std::make_shared<DescribeOptions>();
  Verb verb = group.verb("describe", "Give a table that has lost its description another one");
  verb.argument("TABLE", options->table, "Name of the table");
  verb.arguments("FIELD", options->fields, "Its fields in order: NAME:TYPE:LEN[:DEC]");
  verb.footer(kFooter);
  verb.action([shared, options] { return runDescribe(*shared, *options); });
}

}  // namespace tool
