// Inside the sync floor: the marks of records that the host has not got. HasDirty is public.
#pragma once

#include <string>

#include "storage/disk_layout.h"
#include "storage/vornerdd.h"

namespace vorne {

/// Clears the mark of every record of the table that has one of `marks`, from the last to the first; false when one
/// cannot be. True without a table.
bool ClearDirtyMarks(const char* table, UInt16 marks = kDirty);
/// Notes that the record is in a packet as it is now.
void MarkPrepared(DmOpenRef table, UInt32 index);

/// Notes in the table's packets that the host has taken all of them: from here on the marks are cleared, whatever comes
/// between.
void NoteTaken(DmOpenRef packets);
/// True when the host has taken all packets of the table that this session made, and nobody has cleared them away yet.
bool IsTaken(const std::string& table);
/// Goes on with clearing the marks of a table whose packets the host has taken, where a process died in it. What was
/// changed since keeps its mark.
void FinishClearing(const char* table);

}  // namespace vorne
