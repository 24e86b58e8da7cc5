// Searches in databases whose records are entries in order.
#include "storage/databases.h"
#include "storage/records.h"

using namespace vorne;

namespace {

// An entry's bytes where they lie, without taking a handle; null when it cannot be read.
char* EntryBytes(const OpenStruct& db, UInt32 index) {
  const UInt32 place = RecordPlace(db, index);
  return place == 0 ? nullptr : db.hFile->mapmem + place + kRecordHeaderSize;
}

}  // namespace

UInt32 DmFindSortPosition(DmOpenRef db, void* key, void* info, DmComparF* compare, std::int16_t length) {
  if (!IsOpen(db) || key == nullptr || compare == nullptr) return kAppend;
  SettleHeld(db);
  const auto count = static_cast<std::int64_t>(db->Head.NumberOfRecords);
  const auto appInfo = HandleOf(RecordInSlot(db->appInfoID - 1));
  std::int64_t low = 0, high = count - 1, seen = -1;
  // The first probe is entry 0, not the middle, and equal entries are walked from where they are met: where a run of
  // equal keys begins and ends for the callers depends on both.
  for (std::int64_t probe = 0; probe < count && low <= high;) {
    char* entry = EntryBytes(*db, static_cast<UInt32>(probe));
    if (entry == nullptr) return probe == 0 ? kAppend : static_cast<UInt32>(seen >= 0 ? seen : low);
    const int order = compare(key, entry, length, info, nullptr, appInfo);
    if (order == 0) {
      seen = ++probe;
      continue;
    }
    if (seen >= 0) return static_cast<UInt32>(seen);
    if (order > 0)
      low = probe + 1;
    else
      high = probe - 1;
    probe = (low + high) / 2;
  }
  return static_cast<UInt32>(seen >= 0 ? seen : low);
}

Err DmFindRecordByID(DmOpenRef db, UInt32 id, UInt32* index) {
  if (!IsOpen(db) || index == nullptr) return errArgument;
  SettleHeld(db);
  for (UInt32 i = 0; i < db->Head.NumberOfRecords; ++i) {
    const char* entry = EntryBytes(*db, i);
    if (entry == nullptr || HeaderAtPlace(*db, RecordPlace(*db, i)).RecordLen < sizeof id) continue;
    if (Load<UInt32>(entry) != id) continue;
    *index = i;
    return errNone;
  }
  return errNoSuchRecord;
}
