// Records of open databases and the handles on them, the offsets files, searches, and index entries that wait. Stands
// on mapped files and the journal; a file is opened, closed or listed above. Failures are results of type Err, null or
// empty; a file that cannot grow is error 5.
//
// This file: records by their number.
#pragma once

#include <span>

#include "storage/records/handles.h"
#include "storage/records/record_places.h"

namespace vorne {

/// The bytes in use of record `index` where they lie, until something is made, removed or resized in the database;
/// empty when there is no such record. Takes no handle.
std::span<const char> BytesOf(DmOpenRef db, UInt32 index);

/// Writes the held record back when it is new or changed, and puts in the entries that wait.
void SettleHeld(DmOpenRef db);
/// See MemHandleResize; `size` is 1 to 65535 and not the present one.
Err ResizeRecord(RecordStruct* record, UInt32 size);

/// Makes a record that counts longer before new bytes are written to it. Its header tells the new length at once, with
/// zeros behind the old bytes: should the process die before or after the write, all of the old or of the new bytes are
/// there, never the beginning of the new ones.
Err GrowRecord(RecordStruct* record, UInt32 size);

}  // namespace vorne
