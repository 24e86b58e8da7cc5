// Inside the storage floor: records by their number.
#pragma once

#include <span>
#include <vector>

#include "storage/records/handles.h"

namespace vorne {

/// Where record `index` (one that counts) begins: its header lies inside the used bytes and what it reserves too. 0
/// when that is not so.
UInt32 RecordPlace(const OpenStruct& db, UInt32 index);
/// Bytes from one record to the next in a database of equal records; 0 without a first one.
UInt32 RecordStride(const OpenStruct& db);
inline RecordHeader HeaderAtPlace(const OpenStruct& db, UInt32 place) {
  return Load<RecordHeader>(db.hFile->mapmem + place);
}
/// Where the record at `place` ends. Equal records follow each other by their step, whatever a damaged header says.
UInt32 RecordEnd(const OpenStruct& db, UInt32 place);

/// The bytes in use of record `index` where they lie, until something is made, removed or resized in the database;
/// empty when there is no such record. Takes no handle.
std::span<const char> BytesOf(DmOpenRef db, UInt32 index);

/// The record that the database holds, null for none.
RecordStruct* HeldRecord(const OpenStruct& db);
/// Writes the held record back when it is new or changed, and puts in the entries that wait.
void SettleHeld(DmOpenRef db);
/// See MemHandleResize; `size` is 1 to 65535 and not the present one.
Err ResizeRecord(RecordStruct* record, UInt32 size);

/// Makes a record that counts longer before new bytes are written to it. Its header tells the new length at once, with
/// zeros behind the old bytes: should the process die before or after the write, all of the old or of the new bytes are
/// there, never the beginning of the new ones.
Err GrowRecord(RecordStruct* record, UInt32 size);

/// Takes out `count` records from `index` on, which lie from `begin` to `end`; at least one other record is left.
void RemoveRange(DmOpenRef db, UInt32 index, UInt32 count, UInt32 begin, UInt32 end);
/// Takes out every record that `which` says true of, all of them or none should the process die.
void RemoveRecords(DmOpenRef db, const std::vector<bool>& which);

}  // namespace vorne
