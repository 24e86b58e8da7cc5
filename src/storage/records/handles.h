// Inside the storage floor: the table of memory handles. Taking a handle, finding it by its slot, its database or its
// data pointer take the same time however many there are.
#pragma once

#include "storage/vornerdd.h"

namespace vorne {

inline constexpr UInt16 kNoHandle = 0xFFFF;
inline constexpr UInt32 kNoRecord = 0xFFFFFFFF;

/// Makes and frees the tables of handles; false without memory.
bool MakeHandles();
void FreeHandles();

/// The first free handle, zeroed, for `father`; null when there is none.
RecordStruct* TakeHandle(DmOpenRef father);
void FreeHandle(RecordStruct* record);
void FreeHandlesOf(DmOpenRef father);

/// What a handle that comes from outside stands for; null when it is none.
inline RecordStruct* RecordOf(MemHandle handle) {
  if (MemHandles == nullptr || handle == nullptr) return nullptr;
  const auto first = reinterpret_cast<std::uintptr_t>(MemHandles);
  const auto place = reinterpret_cast<std::uintptr_t>(handle) - first;
  if (place >= kHandles * sizeof(RecordStruct*) || place % sizeof(RecordStruct*) != 0) return nullptr;
  return *handle;
}
inline MemHandle HandleOf(const RecordStruct* record) {
  return record == nullptr ? nullptr : &MemHandles[record->slot];
}
/// The handle in a slot, null for a free or wrong one.
inline RecordStruct* RecordInSlot(UInt32 slot) {
  return MemHandles == nullptr || slot >= kHandles ? nullptr : MemHandles[slot];
}
/// The record that the database holds, null for none.
inline RecordStruct* HeldRecord(const OpenStruct& db) {
  return RecordInSlot(db.Record);
}
/// The locked handle whose data is at `data` (the lowest slot, should there be two), null for none.
RecordStruct* LockedRecordAt(const void* data);
/// To be called whenever a handle is locked or a locked one's data moves.
void NoteLocked(RecordStruct* record);

/// Gives the data pointer of every handle of `db` its place in the mapping anew.
void PlaceHandles(DmOpenRef db);

}  // namespace vorne
