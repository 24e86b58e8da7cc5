// The user says the fields; they are taken only if the records fit them and so do the keys of the table's indexes.
#include "storage/repair/describe_table.h"

#include <algorithm>

#include "storage/files/kept_copies.h"
#include "storage/format/names.h"
#include "storage/journal/recovery.h"
#include "storage/repair/changes.h"
#include "storage/repair/check_catalog.h"
#include "storage/repair/check_indexes.h"
#include "storage/repair/check_records.h"
#include "storage/repair/check_tables.h"
#include "storage/repair/in_use.h"

namespace vorne {

namespace {

constexpr std::int32_t kMarkLength = 2;
constexpr std::size_t kMostMisfits = 20;  // wrong fields fit no record: a screenful shows what is wrong with them

TableDescription descriptionFor(const std::string& name, std::vector<ControlFieldTBL> fields) {
  TableDescription table;
  table.name = FoldedName(name);
  table.fields = std::move(fields);
  table.fields.push_back(MakeField(kDeletionField, TBLSTRING, kMarkLength, 0));
  PlaceFields(table.fields);
  return table;
}

// Why a table cannot be described now; empty when it can.
std::string refusalFor(const DataDirectory& directory, const std::string& name, const DatabaseFiles& files,
                       const DatabaseState& state, bool sound) {
  const auto interrupted = InterruptedChanges(directory.path().c_str());
  if (!files.data.error.empty()) return name + " cannot be read: " + files.data.error;
  if (!files.offsets.error.empty()) return OffsetsName(name) + " cannot be read: " + files.offsets.error;
  if (IsInUse(directory.path())) return "a program has the databases open; end it and try again";
  if (state.kind != kVariableDatabase) return name + " is no table: its records all have one length";
  if (!sound || std::find(interrupted.begin(), interrupted.end(), name) != interrupted.end())
    return "the files of " + name + " are damaged; `tellira db check --repair` comes first";
  const auto known = ReadDescription(SavedBlock(files, state.records));
  if (known && FitOf(*known, files, state, kAnyTexts).misfits == 0)
    return name + " has a description that its records fit; `tellira db schema " + name + "` shows it";
  return {};
}

// The first of the table's indexes whose entries are not made of its fields: other fields may fit the records as well.
std::string indexOfOtherFields(const DataDirectory& directory, const CheckedTable& table) {
  // By the files' own headers: the catalogue may be as damaged as the description.
  for (const auto& [name, file] : directory.files()) {
    if (FileHeaderOf(directory.read(name, kHeaderSize).bytes()).Type != kIndexDatabase) continue;
    CheckedDatabase index;
    index.files.data = directory.read(name);
    Findings findings(name);
    index.state = CheckDatabase(kTypeIndex, index.files, findings, findings);
    const auto told = ToldIndex(index.files, index.state);
    if (findings.sound() && told && FoldedName(told->table) == table.description.name &&
        !IsIndexOf(table, index, *told))
      return name;
  }
  return {};
}

void writeBytes(const DataDirectory& directory, const std::string& name, const DatabaseFiles& files,
                const DatabaseState& state, Described& described) {
  DirectoryReport report;
  Changes changes(directory.path(), report);
  BeginCopies();
  described.written = changes.replaceData(name, RepairedData(files, state), files.offsets.bytes()) &&
                      changes.replace(OffsetsName(name), RepairedOffsets(files, state));
  described.copies = CopiesDirectory();
  described.isRefused = !described.written;
  if (described.isRefused) described.refusal = report.problems.back().file + ": " + report.problems.back().problem;
}

}  // namespace

Described DescribeTable(const std::string& directory, const std::string& name, std::vector<ControlFieldTBL> fields) {
  const DataDirectory data(directory + kDataDirectory);
  const std::string offsetsName = OffsetsName(name);
  DatabaseFiles files;
  files.data = data.read(name);
  if (data.kindOf(offsetsName) == FileKind::kRegular) files.offsets = data.read(offsetsName);
  Findings ofData(name), ofOffsets(offsetsName), misfits(name, kMostMisfits);
  DatabaseState state = CheckDatabase(kTypeData, files, ofData, ofOffsets);
  Described described;
  const TableDescription table = descriptionFor(name, std::move(fields));
  const auto known = ReadDescription(SavedBlock(files, state.records));
  // By the blocks' bytes, with what the user cannot say (times, numbers of indexes) as in a new one.
  described.isSame = known && TableBlock({0, table.name, 0, kTypeData, 3, 0, known->fields}) == TableBlock(table);
  if (described.isSame) return described;
  described.refusal = refusalFor(data, name, files, state, ofData.sound() && ofOffsets.sound());
  if (!described.refusal.empty()) return described;

  // Before anything is told: the description may not be taken, but the misfits are shown in any case.
  const Fit fit = FitOf(table, files, state, kAnyTexts);
  described.records = state.records.places.size();
  described.misfits = fit.misfits;
  std::int64_t number = 0;
  for (const std::uint32_t place : state.records.places) {
    ++number;
    for (const FieldFault& fault :
         CheckRecord(table.fields, SavedRecord(files.data.bytes(), state.records, place), kAnyTexts))
      misfits.damage(fault.words, number);
  }
  DirectoryReport told;
  misfits.tell(told, false);
  described.problems = std::move(told.problems);
  if (!fit.isLikely) {
    described.refusal = "the records do not fit these fields";
    return described;
  }
  CheckedTable checked{{std::move(files), std::move(state)}, table};
  const std::string other = indexOfOtherFields(data, checked);
  if (!other.empty()) {
    described.refusal = "the keys of the index " + other +
                        " are not made of these fields; describe the table with the fields that it was made with, or "
                        "drop the index first";
    return described;
  }
  checked.database.state.records.block = TableBlock(table);
  checked.database.state.records.rewrite = true;
  writeBytes(data, name, checked.database.files, checked.database.state, described);
  return described;
}

}  // namespace vorne
