// Writing a record goes in three steps: EntryChanges notes the entries of before and after and marks the indexes as
// behind, the record is stored, recordStored hands the entries on. Nothing here touches an index's entries in its file.
#include "storage/tables/index_upkeep.h"

#include <cstring>

#include "storage/format/keys.h"
#include "storage/records/records.h"
#include "storage/records/waiting_entries.h"
#include "storage/tables/index_attach.h"
#include "storage/tables/index_entries.h"

namespace vorne {

namespace {

constexpr int kCannotBeKey = 19;

// One record is written at a time, so that the changes' memory serves again.
struct EntryChange {
  IDX_IndexesNames* index;
  std::string before, after;  // entries; `before` is empty for a new record
};
std::vector<EntryChange> changes;

EntryChange& nextChange(std::size_t& count, IDX_IndexesNames& index) {
  if (count == changes.size()) changes.emplace_back();
  EntryChange& change = changes[count++];
  change.index = &index;
  change.before.clear();
  return change;
}

void entryOfBuffer(const VORNE_RDD& area, const IDX_IndexesNames& index, bool swapped, std::string& entry) {
  entry.resize(kEntryKeyAt + static_cast<std::size_t>(index.IDX_tam_max_key));
  if (!MakeKey(FieldsOf(area), KeyFieldsOf(index), area.TBL_buff, swapped, entry.data() + kEntryKeyAt))
    __RuntimeError(3, kCannotBeKey);
}

void entryOfRecord(const myAppInfoType& table, const IDX_IndexesNames& index, std::int32_t record, std::string& entry) {
  EntryMaker maker(FieldsOf(table), KeyFieldsOf(index));
  entry.resize(maker.size());
  maker.make(record, BytesOf(table.TBL_dbRef, static_cast<UInt32>(record)), entry.data());
}

// Entries move when others come and go. Where the current record's entry is now is found out when a walk goes on.
void forgetPlaces(const myAppInfoType& table) {
  for (std::uint32_t i = 0; i < table.TBL_numIndexes; ++i) table.TBL_IndexesNames[i]->IDX_recID = -1;
}

}  // namespace

void EntryChanges::addChange(IDX_IndexesNames& index, std::int32_t position, Boolean hostOrder) {
  if (!OpenIndex(*area_.TBL_appinfo, index)) return;
  EntryChange& change = nextChange(count_, index);
  entryOfBuffer(area_, index, bswapnum && hostOrder, change.after);
  if (position >= 0) {
    Store(change.after.data(), position);
    entryOfRecord(*area_.TBL_appinfo, index, position, change.before);
    // The key's fields were set to what they were: the index has the right entry already.
    if (change.before == change.after) {
      --count_;
      return;
    }
  }
  // Before the record is stored: killed between record and entry, the index would lack one and not say so.
  MarkBehind(index.IDX_dbRef);
}

EntryChanges::EntryChanges(VORNE_RDD& area, std::int32_t position, Boolean hostOrder) : area_(area) {
  const myAppInfoType& table = *area.TBL_appinfo;
  // Another area may have given the record another key since this one loaded it.
  const bool all = position < 0 || table.TBL_dbRef->opens > 1;
  for (std::uint32_t i = 0; i < table.TBL_numIndexes; ++i) {
    IDX_IndexesNames& index = *table.TBL_IndexesNames[i];
    if (all || index.IDX_fieldchanged) addChange(index, position, hostOrder);
  }
}

void EntryChanges::recordStored(std::int32_t position) {
  for (std::size_t i = 0; i < count_; ++i) {
    EntryChange& change = changes[i];
    Store(change.after.data(), position);
    if (!change.before.empty()) RemoveEntry(change.index->IDX_dbRef, change.before);
    InsertEntry(change.index->IDX_dbRef, change.after);
  }
  if (count_ != 0)
    ForEachAreaOf(area_.TBL_appinfo->TBL_dbRef, [](int, VORNE_RDD& area) { forgetPlaces(*area.TBL_appinfo); });
  const myAppInfoType& table = *area_.TBL_appinfo;
  for (std::uint32_t i = 0; i < table.TBL_numIndexes; ++i) table.TBL_IndexesNames[i]->IDX_fieldchanged = 0;
}

void SettleIndexes(const myAppInfoType& table) {
  for (std::uint32_t i = 0; i < table.TBL_numIndexes; ++i) SettleEntries(table.TBL_IndexesNames[i]->IDX_dbRef);
}

bool CutIndexes(myAppInfoType& table, std::uint32_t first) {
  bool whole = true;
  for (std::uint32_t i = 0; i < table.TBL_numIndexes; ++i) {
    IDX_IndexesNames& index = *table.TBL_IndexesNames[i];
    index.IDX_recID = -1;
    whole = OpenIndex(table, index) && RemoveEntriesFrom(index.IDX_dbRef, static_cast<std::int32_t>(first)) &&
            DmNumRecords(index.IDX_dbRef) == first && whole;
  }
  return whole;
}

std::int32_t PlaceOfRecord(myAppInfoType& table, IDX_IndexesNames& index, std::int32_t record) {
  if (record < 0 || index.IDX_dbRef == nullptr || static_cast<UInt32>(record) >= DmNumRecords(table.TBL_dbRef))
    return -1;
  std::string entry;
  UInt32 place = 0;
  entryOfRecord(table, index, record, entry);
  const auto isFound = [&] {
    return FindKeyInIndexFile(index.IDX_dbRef, entry.data(), index.IDX_tam_max_key, &place) != 0;
  };
  if (!isFound() || IsBehind(index.IDX_dbRef)) {
    MendIndex(table, index);
    if (!isFound()) return -1;
  }
  return static_cast<std::int32_t>(place);
}

}  // namespace vorne
