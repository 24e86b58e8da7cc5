// Removing deleted records, or all.
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

}  // namespace

Obj_Node* __dbPack(Obj_Node* alias) {
  const int number = AreaNumber(alias);
  WritePending(number);
  const VORNE_RDD& area = *AreaAt(number);
  {
    const ChangeSeenByReaders change;
    const std::vector<bool> deleted = deletedRecords(area);
    if (std::find(deleted.begin(), deleted.end(), true) != deleted.end()) {
      markIndexesBehind(*area.TBL_appinfo);
      RemoveRecords(DatabaseOf(area), deleted);
    }
    RebuildIndexes(*area.TBL_appinfo);
  }
  __GoTo(number, 0, 1, 1);
  return __INIT_NIL();
}

Obj_Node* __dbZap(Obj_Node* alias) {
  const int number = AreaNumber(alias);
  WritePending(number);
  const VORNE_RDD& area = *AreaAt(number);
  if (RecordCount(area) == 0) return __INIT_NIL();
  {
    const ChangeSeenByReaders change;
    // The table first: memo texts that nothing names do no harm, and indexes with more entries than records are
    // noticed.
    __InternalZap(DatabaseOf(area));
    if (OpenMemoDB(number)) __InternalZap(area.TBL_memo);
    ZapIndexes(*area.TBL_appinfo);
  }
  __GoTo(number, 0, 1, 1);
  return __INIT_NIL();
}
