// Inside the storage floor: storing a record by one call.
#pragma once

#include <span>

#include "storage/vornerdd.h"

namespace vorne {

/// Appends a record of these bytes (none count as one zero byte); its number goes to `index` unless that is null.
/// `dirty` sets its dirty bit. False for more than 65535 bytes, or without a handle. Error 5 when a file cannot grow.
bool AppendRecord(DmOpenRef db, std::span<const char> bytes, UInt32* index = nullptr, Boolean dirty = 0);
/// The same where a file that cannot grow is no error: false, and nothing has changed.
bool TryAppendRecord(DmOpenRef db, std::span<const char> bytes, UInt32* index = nullptr);
/// Gives a record other bytes and their number: should the process die, all of the old or all of the new ones are
/// there. False when there is no such record, or no record can be that long. The same error.
bool StoreRecord(DmOpenRef db, UInt32 index, std::span<const char> bytes, Boolean dirty = 0);

}  // namespace vorne
