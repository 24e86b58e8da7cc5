// Inside the storage floor: the offsets file of a 'V' database, one slot a record. It can always be made anew from the
// chain of records, so it is never protected by itself: a change of it happens inside the protected move that it
// follows. Every function does nothing for a database without one.
#pragma once

#include <algorithm>

#include "storage/vornerdd.h"

namespace vorne {

/// Stores the place of record `index`, behind the last one.
void AppendOffset(DmOpenRef db, UInt32 index, UInt32 offset);
/// Opens a slot for a record put in at `index`, whose followers moved on by `moved` bytes. Space for it must be
/// reserved.
void InsertOffset(DmOpenRef db, UInt32 index, UInt32 offset, UInt32 moved);
/// Takes out the slots of `count` records from `index` on, whose followers moved back by `moved` bytes.
void RemoveOffset(DmOpenRef db, UInt32 index, UInt32 moved, UInt32 count = 1);
/// Adds `moved` to the slots from `index` on.
void ShiftOffsets(DmOpenRef db, UInt32 index, std::int64_t moved);
/// Slots that the offsets file holds.
inline UInt32 OffsetSlots(const OpenStruct& db) {
  const auto used = static_cast<UInt32>(std::min(db.hOS->szmap, db.hOS->szallocated));
  return used < kHeaderSize ? 0 : (used - kHeaderSize) / kOffsetSize;
}
inline char* OffsetSlot(const OpenStruct& db, UInt32 index) {
  return db.hOS->mapmem + kHeaderSize + static_cast<std::size_t>(index) * kOffsetSize;
}
/// The slot's value; 0 past the end.
inline UInt32 OffsetOf(const OpenStruct& db, UInt32 index) {
  return index < OffsetSlots(db) ? Load<UInt32>(OffsetSlot(db, index)) : 0;
}

}  // namespace vorne
