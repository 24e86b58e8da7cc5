// The part of an inspection that holds indexes against their tables.
#include <algorithm>

#include "storage/format/keys.h"
#include "storage/format/names.h"
#include "storage/repair/inspection.h"

namespace vorne {

namespace {

std::string keyWords(const CheckedTable& table, const IndexDescription& told) {
  std::string words;
  for (const IDX_Indexes& part : told.keyFields)
    words += (words.empty() ? "" : ",") + std::string(table.description.fields[part.KeyField - 1].FieldName);
  return words;
}

std::string howToCreate(const std::string& table, const std::string& index) {
  return "a repair removes it, then `tellira db index create " + table + " " + index +
         " FIELD[,FIELD...]` makes it anew";
}

}  // namespace

// Read anew, since a repair may have changed what they are held against. What is damaged has been told already.
std::optional<CheckedDatabase> Inspection::readAgain(const std::string& name, std::uint32_t type) {
  if (std::find(interrupted_.begin(), interrupted_.end(), name) != interrupted_.end()) return {};
  progress_.allBytes += directory_.sizeOf(name) + directory_.sizeOf(OffsetsName(name));
  CheckedDatabase database{readDatabase(name), {}};
  if (!isReadable(name, database.files.data) || !isReadable(OffsetsName(name), database.files.offsets)) return {};
  Findings data(name), offsets(OffsetsName(name));
  database.state = CheckDatabase(type, database.files, data, offsets);
  return database;
}

std::optional<CheckedTable> Inspection::readTable(const std::string& name) {
  std::optional<CheckedDatabase> database = readAgain(name, kTypeData);
  if (!database || database->state.kind != kVariableDatabase) return {};
  Findings data(name), lasting(name);
  TableMeaning meaning = CheckTable(contextOf(name), database->files, database->state, data, lasting);
  if (!meaning.description || !lasting.sound()) return {};
  return CheckedTable{std::move(*database), std::move(*meaning.description)};
}

// Table by table: a table is read once however many indexes it has, and is let go before the next one.
void Inspection::checkIndexes() {
  for (const auto& [described, name] : tables_) {
    const auto isOf = [&described = described](const FoundIndex& index) {
      return index.told && FoldedName(index.told->table) == described;
    };
    // A table without indexes is not read a second time.
    if (std::none_of(indexes_.begin(), indexes_.end(), isOf)) continue;
    const std::optional<CheckedTable> table = readTable(name);
    if (!table) continue;
    for (const FoundIndex& index : indexes_)
      if (isOf(index)) checkIndex(*table, index);
  }
  for (const FoundIndex& index : indexes_)
    if (!index.told || !isKnown(index.told->table)) settleIndex(index);
}

void Inspection::checkIndex(const CheckedTable& table, const FoundIndex& found) {
  const std::optional<CheckedDatabase> index = readAgain(found.name, kTypeIndex);
  if (!index) return;
  const Fields fields = table.description.fields;
  IndexDescription told = *found.told;
  told.keyFields = KeyByEntries(table, *index, told);
  Findings findings(found.name);
  // Only of a program that has ended is anything missing: a living one still has it.
  if (told.entriesWait && report_.inUse)
    return report_.notes.push_back(
        {found.name, -1, "the program that has it open has not put all changes into it yet", false});
  CheckIndex(table, *index, told, findings);
  if (findings.sound()) return;
  // No key can be made of the fields that it names: the entries may still tell which ones were meant.
  if (KeyRoom(fields, found.told->keyFields) == 0) {
    const auto made = KeyOfEntries(table, *index);
    if (made) told.keyFields = *made;
  }
  if (KeyRoom(fields, told.keyFields) == 0)
    return dropIndex(found.name,
                     "its table has no such key fields; " + howToCreate(table.description.name, found.name));
  remakeIndex(table, *index, told, findings);
}

void Inspection::remakeIndex(const CheckedTable& table, const CheckedDatabase& index, const IndexDescription& told,
                             Findings& findings) {
  const std::vector<char> fresh = repairs_ ? FreshIndex(table, index, told) : std::vector<char>();
  findings.tell(report_, !fresh.empty() && changes_.replace(findings.file(), fresh));
}

// An index that names no table there is. The catalogue lists it once its file has a header: one without lost it.
void Inspection::settleIndex(const FoundIndex& index) {
  if (!index.told && (index.entries == 0 ? index.hasHead && index.isBlank : index.info == 0)) {
    if (index.entries == 0)
      report_.notes.push_back(
          {index.name, -1, "it is an index that was never finished; the next one of its name takes its place", false});
    return;
  }
  const std::optional<CheckedDatabase> entries = readAgain(index.name, kTypeIndex);
  if (!entries || findTableOf(*entries, index)) return;
  if (!index.told && index.hasHead && !HoldsEntries(*entries))
    return report_.notes.push_back({index.name, -1, "what it tells of itself is no index's description", false});
  if (!index.told)
    return dropIndex(index.name,
                     "its description cannot be read, nor told from its entries; " + howToCreate("TABLE", index.name));
  takeAway(index.told->table, index.name, index.entriesSeen);
  removals_.push_back(index.name);
}

// A letter of its table's name is damaged, as its entries tell; they may be behind the records, since a program finds
// no index of the table in it.
bool Inspection::isMisnamed(const CheckedTable& table, const CheckedDatabase& index, const FoundIndex& found) const {
  if (!found.told) return false;
  const std::string named = FoldedName(found.told->table);
  // What the catalogue names had a table of its own, however alike the names are.
  const bool isGone = std::any_of(state_.gone.begin(), state_.gone.end(),
                                  [&](const DatabaseHdrType& gone) { return FoldedName(NameOf(gone)) == named; });
  return !isGone && IsAlike(named, FoldedName(table.description.name)) && IsIndexOf(table, index, *found.told);
}

bool Inspection::findTableOf(const CheckedDatabase& index, const FoundIndex& found) {
  for (const auto& [described, file] : tables_) {
    if (index.count() == 0) return false;
    const std::optional<CheckedTable> table = readTable(file);
    if (!table) continue;
    IndexDescription told;
    if (isMisnamed(*table, index, found))
      told.keyFields = KeyByEntries(*table, index, *found.told);
    else if (const auto key = KeyOfEntries(*table, index))
      told.keyFields = *key;
    else
      continue;
    told.name = found.name;
    Findings findings(found.name);
    findings.damage("its description is damaged; by its entries it is an index of " + table->description.name +
                    " with the key " + keyWords(*table, told));
    remakeIndex(*table, index, told, findings);
    return true;
  }
  return false;
}

void Inspection::dropIndex(const std::string& name, const std::string& words) {
  Findings findings(name);
  findings.damage(words);
  settledLast_.push_back(std::move(findings));
  removals_.push_back(name);
  ++report_.lostDatabases;
}

}  // namespace vorne
