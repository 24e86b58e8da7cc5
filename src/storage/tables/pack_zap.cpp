// Removing deleted records, or all. Both may be killed at any moment: records, memo texts and indexes are different
// files. The order is such that what is left is space that nothing names, or an index that is known to be behind.
#include <algorithm>

#include "storage/databases/packing.h"
#include "storage/format/record_bytes.h"
#include "storage/journal/journal.h"
#include "storage/records/records.h"
#include "storage/records/waiting_entries.h"
#include "storage/tables/index_attach.h"
#include "storage/tables/write.h"

using namespace vorne;

namespace {

std::vector<bool> deletedRecords(const VORNE_RDD& area) {
  std::vector<bool> deleted(static_cast<std::size_t>(RecordCount(area)));
  for (std::size_t i = 0; i < deleted.size(); ++i)
    deleted[i] = IsDeletedRecord(FieldsOf(area), BytesOf(DatabaseOf(area), static_cast<UInt32>(i)));
  return deleted;
}

void markIndexesBehind(const myAppInfoType& table) {
  for (std::uint32_t i = 0; i < table.TBL_numIndexes; ++i) MarkBehind(table.TBL_IndexesNames[i]->IDX_dbRef);
}

// An edit that waits in another area would be written to a record that is another one by then.
void writePendingOf(DmOpenRef table) {
  ForEachAreaOf(table, [](int number, VORNE_RDD&) { WritePending(number); });
}

// Where each record stands when those have gone; -1 for one that has.
std::vector<int> placesWithout(const std::vector<bool>& gone) {
  std::vector<int> places(gone.size(), -1);
  int next = 0;
  for (std::size_t i = 0; i < gone.size(); ++i)
    if (!gone[i]) places[i] = next++;
  return places;
}

// Every area stays on its record, or stands on none.
void follow(DmOpenRef table, const std::vector<int>& places) {
  ForEachAreaOf(table, [&](int, VORNE_RDD& area) {
    for (std::uint32_t i = 0; i < area.TBL_appinfo->TBL_numIndexes; ++i)
      area.TBL_appinfo->TBL_IndexesNames[i]->IDX_recID = -1;
    if (area.TBL_recpos < 0) return;
    const auto record = static_cast<std::size_t>(area.TBL_recpos);
    const int place = record < places.size() ? places[record] : -1;
    area.TBL_recposition = std::max(place, 0);
    area.TBL_recpos = place;
    if (place < 0) EnterNotFound(area);
  });
}

// Space that records left when they were removed, as zapping does.
void giveSpaceBack(DmOpenRef db) {
  if (db == nullptr) return;
  const mymap& map = *db->hFile;
  // Less than one step of growth is not worth writing a file anew.
  if (map.szallocated - map.szmap > static_cast<std::int64_t>(kSmallestFile)) InterNalPack(db);
}

void giveSpaceBack(const VORNE_RDD& area, int number) {
  giveSpaceBack(DatabaseOf(area));
  if (OpenMemoDB(number)) giveSpaceBack(area.TBL_memo);
  for (std::uint32_t i = 0; i < area.TBL_appinfo->TBL_numIndexes; ++i)
    giveSpaceBack(area.TBL_appinfo->TBL_IndexesNames[i]->IDX_dbRef);
}

}  // namespace

Obj_Node* __dbPack(Obj_Node* alias) {
  const int number = AreaNumber(alias);
  const VORNE_RDD& area = *AreaAt(number);
  writePendingOf(DatabaseOf(area));
  {
    const ChangeSeenByReaders change;
    const std::vector<bool> deleted = deletedRecords(area);
    if (std::find(deleted.begin(), deleted.end(), true) != deleted.end()) {
      // Every entry behind the first gap names a wrong record from the next line until the indexes are made anew.
      markIndexesBehind(*area.TBL_appinfo);
      RemoveRecords(DatabaseOf(area), deleted);
      follow(DatabaseOf(area), placesWithout(deleted));
    }
    RebuildIndexes(*area.TBL_appinfo);
    giveSpaceBack(area, number);
  }
  __GoTo(number, 0, 1, 1);
  return __INIT_NIL();
}

Obj_Node* __dbZap(Obj_Node* alias) {
  const int number = AreaNumber(alias);
  const VORNE_RDD& area = *AreaAt(number);
  writePendingOf(DatabaseOf(area));
  if (RecordCount(area) == 0) return __INIT_NIL();
  {
    const ChangeSeenByReaders change;
    // The table first: memo texts that nothing names do no harm, and indexes with more entries than records are
    // noticed.
    __InternalZap(DatabaseOf(area));
    if (OpenMemoDB(number)) __InternalZap(area.TBL_memo);
    ZapIndexes(*area.TBL_appinfo);
    follow(DatabaseOf(area), {});
  }
  __GoTo(number, 0, 1, 1);
  return __INIT_NIL();
}
