// Inside the sync floor: the marks of records that the host has not got. HasDirty is public.
#pragma once

namespace vorne {

/// Clears the mark of every record of the table, from the last to the first; false when one cannot be. True without a
/// table.
bool ClearDirtyMarks(const char* table);

}  // namespace vorne
