#include "sync/dirty_marks.h"

#include "storage/databases/tempdb.h"
#include "sync/in_batch.h"
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

bool vorne::ClearDirtyMarks(const char* name, UInt16 marks) {
  const LocalID id = DmFindDatabase(0, name);
  const DmOpenRef table = id == 0 ? nullptr : DmOpenDatabase(0, id, 3);
  if (table == nullptr) return true;
  // The system is not asked to write after every mark.
  const InBatch batch;
  bool well = true;
  for (UInt32 i = DmNumRecords(table), seen = 0; i-- > 0 && well;) {
    UInt16 attributes = 0;
    const bool isDirty = DmRecordInfo(table, i, &attributes) == errNone && (attributes & marks) != 0;
    attributes = static_cast<UInt16>(attributes & ~(kDirty | kPrepared));
    well = !isDirty || DmSetRecordInfo(table, i, &attributes) == errNone;
    if (++seen % kFlushEvery == 0) DmSyncDatabase(table);
  }
  DmSyncDatabase(table);
  DmResetRecordStates(table);
  DmCloseDatabase(table);
  return well;
}

void vorne::MarkPrepared(DmOpenRef table, UInt32 index) {
  UInt16 attributes = 0;
  if (DmRecordInfo(table, index, &attributes) != errNone) return;
  attributes |= kPrepared;
  const InBatch batch;
  DmSetRecordInfo(table, index, &attributes);
}

// The first packet carries the note: one store, which a kill does not divide.
void vorne::NoteTaken(DmOpenRef packets) {
  DmSetRecordInfo(packets, 0, &kPrepared);
}

// Sending them has emptied their database.
bool vorne::IsTaken(const std::string& table) {
  const DmOpenRef packets = FindTemporary(table, kPacketsToSend);
  const bool taken = packets != nullptr && DmNumRecords(packets) == 0;
  if (packets != nullptr) DmCloseDatabase(packets);
  return taken;
}

void vorne::FinishClearing(const char* name) {
  const DmOpenRef packets = FindTemporary(name, kPacketsToSend);
  if (packets == nullptr) return;
  UInt16 attributes = 0;
  const bool isTaken = DmRecordInfo(packets, 0, &attributes) == errNone && (attributes & kPrepared) != 0;
  DmCloseDatabase(packets);
  if (isTaken) ClearDirtyMarks(name, kPrepared);
}
