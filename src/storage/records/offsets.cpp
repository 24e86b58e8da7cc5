// A slot is the place of a record's header, 4 bytes; slot i is record i's. What is behind the file's used size counts
// for nothing, whatever stands there.
#include "storage/records/offsets.h"

#include <algorithm>
#include <cstring>

#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/records/open_databases.h"

namespace vorne {

namespace {

// How many slots the offsets file holds from then on.
void setSlots(const OpenStruct& db, UInt32 slots) {
  WriteUsedSize(db.hOS, kHeaderSize + static_cast<std::int64_t>(slots) * kOffsetSize);
}

void addTo(const OpenStruct& db, UInt32 first, UInt32 end, std::int64_t moved) {
  for (UInt32 i = first; i < end; ++i)
    Store(OffsetSlot(db, i), static_cast<UInt32>(Load<UInt32>(OffsetSlot(db, i)) + moved));
}

}  // namespace

void AppendOffset(DmOpenRef db, UInt32 index, UInt32 offset) {
  if (db->hOS == nullptr) return;
  const std::int64_t end = kHeaderSize + (static_cast<std::int64_t>(index) + 1) * kOffsetSize;
  if (end > db->hOS->szmap && !EnsureRoom(db->hOS, static_cast<long>(end - db->hOS->szmap))) GrowthFailure(*db->hOS);
  // The place before their number: one place too few has the file made anew, a wrong one would be believed.
  Store(OffsetSlot(*db, index), offset);
  StoreBarrier();
  setSlots(*db, std::max(OffsetSlots(*db), index + 1));
}

// Slots that move are not protected here. The move of the records around them tells the journal (offsetsFollow) that
// the file does not fit while it lasts: interrupted, the file is removed, and the next opening makes it anew from the
// records.
void InsertOffset(DmOpenRef db, UInt32 index, UInt32 offset, UInt32 moved) {
  if (db->hOS == nullptr) return;
  const UInt32 slots = OffsetSlots(*db);
  std::memmove(OffsetSlot(*db, index + 1), OffsetSlot(*db, index),
               static_cast<std::size_t>(slots - index) * kOffsetSize);
  Store(OffsetSlot(*db, index), offset);
  addTo(*db, index + 1, slots + 1, moved);
  setSlots(*db, slots + 1);
}

void RemoveOffset(DmOpenRef db, UInt32 index, UInt32 moved, UInt32 count) {
  if (db->hOS == nullptr) return;
  const UInt32 slots = OffsetSlots(*db);
  if (index >= slots) return;
  // How many there are afterwards.
  const UInt32 left = slots - std::min(count, slots - index);
  std::memmove(OffsetSlot(*db, index), OffsetSlot(*db, index + slots - left),
               static_cast<std::size_t>(left - index) * kOffsetSize);
  addTo(*db, index, left, -static_cast<std::int64_t>(moved));
  std::memset(OffsetSlot(*db, left), 0, static_cast<std::size_t>(slots - left) * kOffsetSize);
  setSlots(*db, left);
}

void ShiftOffsets(DmOpenRef db, UInt32 index, std::int64_t moved) {
  if (db->hOS == nullptr) return;
  addTo(*db, index, OffsetSlots(*db), moved);
  if (!bBatchOper) FlushViewOfFile(db->hOS->mapmem, static_cast<std::size_t>(db->hOS->szmap));
}

}  // namespace vorne

using namespace vorne;

void PutRecOffSet(DmOpenRef db, UInt32 index, UInt32 offset, Boolean insert, long shift) {
  if (!IsOpen(db) || db->hOS == nullptr) return;
  const UInt32 slots = OffsetSlots(*db);
  if (insert && index < slots) {
    if (!EnsureRoom(db->hOS, kOffsetSize)) GrowthFailure(*db->hOS);
    InsertOffset(db, index, offset, static_cast<UInt32>(shift));
  } else {
    AppendOffset(db, index, offset);
    if (shift != 0) ShiftOffsets(db, index + 1, shift);
  }
}

UInt32 GetRecOffSet(DmOpenRef db, UInt32 index) {
  if (!IsOpen(db) || db->hOS == nullptr || index >= OffsetSlots(*db)) {
    // A place made up for a record that there is not would be written to: the process ends instead.
    Logar(Message("GetRecOffSet %s %ld", db == nullptr ? "" : db->fName, static_cast<long>(index)).c_str());
    __RuntimeError(0, -1);
  }
  return OffsetOf(*db, index);
}
