// Inside the storage floor: the application-info block at the start of a data file.
#pragma once

#include "storage/records/handles.h"

namespace vorne {

/// The block's handle, null when it is not loaded.
RecordStruct* AppInfoOf(const OpenStruct& db);
/// Changes the size of the block, or of a space that is to become it; a larger block moves the records on.
Err ResizeAppInfo(RecordStruct* block, UInt32 size);
/// Makes the handle's space the database's block, moving the records when its size is another one.
Err SetAppInfo(DmOpenRef db, LocalID id);

}  // namespace vorne
