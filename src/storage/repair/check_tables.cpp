// A description may be lost, wrong for its records, or right with damaged records. Which of the last two it is decides
// whether a repair may touch the records at all (FitOf).
#include "storage/repair/check_tables.h"

#include <algorithm>

#include "storage/format/names.h"
#include "storage/format/record_bytes.h"
#include "storage/repair/check_records.h"

namespace vorne {

namespace {

constexpr std::size_t kHeadNameAt = 8, kHeadNameRoom = 31;
constexpr std::uint64_t kFewRecords = 2;  // so many that are all wrong do not speak against the description

std::string howToDescribe(const std::string& name) {
  return "`tellira db describe " + name + " FIELD:TYPE:LEN[:DEC] ...` writes it anew";
}

bool endsLikeATable(const DatabaseFiles& files, const Records& records) {
  const auto ends = [&](std::uint32_t place) {
    const std::span<const char> record = SavedRecord(files.data.bytes(), records, place);
    if (record.size() < kEndMarkSize) return false;
    const char* end = record.data() + record.size() - kEndMarkSize;
    return (end[0] == kLive || end[0] == kDeleted) && end[1] == '\0';
  };
  // All of them: a byte that happens to be a mark is found in one record, not in each.
  return !records.places.empty() && std::all_of(records.places.begin(), records.places.end(), ends);
}

std::string headName(FileBytes block) {
  const char* name = block.data() + kHeadNameAt;
  return {name, ::strnlen(name, kHeadNameRoom)};
}

// The name stands in the head and once more behind it.
bool namesItself(FileBytes block, const std::string& name) {
  if (block.size() < kDescriptionHead) return false;
  const FileBytes text = block.subspan(kDescriptionHead);
  return FoldedName(headName(block)) == FoldedName(name) ||
         FoldedName({text.data(), std::min(text.size(), name.size())}) == FoldedName(name);
}

// A block of zeros is one that was being made.
bool isWritten(FileBytes block) {
  return block.size() >= kDescriptionHead && std::any_of(block.begin(), block.end(), [](char c) { return c != '\0'; });
}

// A database of records may have the type of tables and be none: something must tell that it was one.
void checkUndescribed(const TableContext& context, const DatabaseFiles& files, const DatabaseState& state,
                      Findings& lasting) {
  if (IsTemporaryName(context.name)) return;
  const FileBytes block = SavedBlock(files, state.records);
  const bool isEmpty = state.records.places.empty() && block.size() < kDescriptionHead;
  if (context.hasOthers || endsLikeATable(files, state.records) || namesItself(block, context.name))
    lasting.damage("its description cannot be read; " + howToDescribe(context.name) + CopiesWords(context.copies));
  else if (context.hasMemo)
    lasting.note("it has no description yet, left when the table was being made" + CopiesWords(context.copies));
  else if (isEmpty && FileHeaderOf(files.data.bytes()).Version != 2)
    lasting.damage("nothing can be read of it; if it was a table, " + howToDescribe(context.name));
  else if (isEmpty)
    lasting.note("it has no records and no table's description; if it was a table, " + howToDescribe(context.name) +
                 CopiesWords(context.copies));
  // What stands there may be what a program that has records only tells of them, whether it has any just now or not.
  else if (state.records.places.empty() && isWritten(block))
    lasting.note("what it tells of itself is no table's description; if it was a table, " +
                 howToDescribe(context.name));
  else if (block.size() >= kDescriptionHead)
    lasting.note("what it tells of itself is no table's description");
}

}  // namespace

std::string CopiesWords(const std::string& copies) {
  return copies.empty() ? copies : "; a file of its name, as it was before, is in " + copies;
}

std::uint64_t CountByOthers(const TableContext& context, bool isDescribed, Records& records, Findings& findings) {
  const std::size_t saved = records.places.size();
  if (context.entries > saved + records.lost) {
    findings.damage(Message("%s tells of %zu records, %zu are there", context.witness.c_str(), context.entries, saved));
    records.lost = context.entries - saved;
  }
  // A described table may have none yet: a program that dies leaves texts that nothing names.
  return isDescribed || saved != 0 || context.texts == kAnyTexts ? 0 : context.texts;
}

Fit FitOf(const TableDescription& table, const DatabaseFiles& files, const DatabaseState& state, std::uint32_t texts) {
  Fit fit;
  std::uint64_t number = 0, laidOutOtherwise = 0, impossible = 0;
  for (const std::uint32_t place : state.records.places) {
    ++number;
    const auto faults = CheckRecord(table.fields, SavedRecord(files.data.bytes(), state.records, place), texts);
    if (faults.empty()) continue;
    if (fit.misfits++ == 0)
      fit.first = Message("record %llu: ", static_cast<unsigned long long>(number)) + faults[0].words;
    const auto is = [&](auto which) { return std::any_of(faults.begin(), faults.end(), which); };
    laidOutOtherwise += is([](const FieldFault& fault) { return fault.isOfLayout(); });
    impossible += is([](const FieldFault& fault) { return fault.isOfLayout() || fault.kind == FieldFault::kValue; });
  }
  // Damage hits records here and there, a wrong description hits most of them.
  fit.isLikely = laidOutOtherwise * 2 <= number && (impossible * 2 <= number || impossible <= kFewRecords);
  return fit;
}

TableMeaning CheckTable(const TableContext& context, const DatabaseFiles& files, DatabaseState& state, Findings& data,
                        Findings& lasting) {
  TableMeaning meaning;
  const FileBytes block = SavedBlock(files, state.records);
  meaning.description = ReadDescription(block);
  if (!meaning.description) {
    checkUndescribed(context, files, state, lasting);
    return meaning;
  }
  TableDescription& table = *meaning.description;
  const bool hasMemoField = std::any_of(table.fields.begin(), table.fields.end(),
                                        [](const ControlFieldTBL& field) { return field.FieldType == TBLMEMO; });
  meaning.lacksMemo = hasMemoField && !context.hasMemo;
  // The head repeats the name: with the file's own name it is two against one.
  if (FoldedName(table.name) != FoldedName(context.name) && FoldedName(headName(block)) == FoldedName(context.name)) {
    data.damage("its description names the table " + table.name);
    table.name = context.name;
    state.records.block = TableBlock(table);
  }
  // All records are looked at before one is changed: by a wrong description a repair would empty field after field.
  const Fit fit = FitOf(table, files, state, context.texts);
  if (fit.misfits == 0) return meaning;
  if (!fit.isLikely) {
    lasting.damage(Message("%llu of %zu records do not fit its description (%s); ",
                           static_cast<unsigned long long>(fit.misfits), state.records.places.size(),
                           fit.first.c_str()) +
                   howToDescribe(context.name));
    return meaning;
  }
  std::int64_t number = 0;
  for (const std::uint32_t place : state.records.places) {
    ++number;
    std::string mended;
    const std::span<const char> record = SavedRecord(files.data.bytes(), state.records, place);
    const auto faults = CheckRecord(table.fields, record, context.texts, &mended);
    if (faults.empty()) continue;
    // Fields that are missing come in empty, by which a record may get longer than any can be: it stays as it is then.
    const bool fits = mended.size() <= kLargestRecord;
    for (const FieldFault& fault : faults) {
      if (!fits) lasting.damage(fault.words, number);
      if (!fits) continue;
      data.damage(fault.words + (fault.losesValue() ? "; it is left empty" : ""), number);
      meaning.lostValues += fault.losesValue();
    }
    if (fits) state.records.remade[place] = std::move(mended);
  }
  return meaning;
}

}  // namespace vorne
