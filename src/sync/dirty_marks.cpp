#include "sync/dirty_marks.h"

#include "storage/vornerdd.h"
#include "sync/vornesync.h"

using namespace vorne;

namespace {

constexpr UInt32 kFlushEvery = 2000;

}  // namespace

int HasDirty(const char* name) {
  const LocalID id = DmFindDatabase(0, name);
  const DmOpenRef db = id == 0 ? nullptr : DmOpenDatabase(0, id, 0);
  if (db == nullptr) return 0;
  int dirty = 0;
  for (UInt32 i = DmNumRecords(db), seen = 0; i-- > 0 && dirty == 0;) {
    UInt16 attributes = 0;
    if (DmRecordInfo(db, i, &attributes) == errNone) dirty = attributes & kDirty;
    if (++seen % kFlushEvery == 0) DmSyncDatabase(db);
  }
  DmResetRecordStates(db);
  DmCloseDatabase(db);
  return dirty;
}

bool vorne::ClearDirtyMarks(const char* name) {
  const LocalID id = DmFindDatabase(0, name);
  const DmOpenRef table = id == 0 ? nullptr : DmOpenDatabase(0, id, 3);
  if (table == nullptr) return true;
  bool well = true;
  for (UInt32 i = DmNumRecords(table), seen = 0; i-- > 0 && well;) {
    UInt16 attributes = 0;
    const bool isDirty = DmRecordInfo(table, i, &attributes) == errNone && (attributes & kDirty) != 0;
    attributes = static_cast<UInt16>(attributes & ~kDirty);
    well = !isDirty || DmSetRecordInfo(table, i, &attributes) == errNone;
    if (++seen % kFlushEvery == 0) DmSyncDatabase(table);
  }
  DmResetRecordStates(table);
  DmCloseDatabase(table);
  return well;
}
