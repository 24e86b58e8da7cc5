// Inside the storage floor: making and closing gaps in data files and offsets files, and following them in memory.
#pragma once

#include "storage/files/mapped_file.h"
#include "storage/format/chain.h"
#include "storage/journal/journal.h"

namespace vorne {

/// The move that opens a gap of `n` bytes at `offset`, or closes one for a negative `n`: header as it is, szmap
/// following.
TailMove MoveOf(const mymap& map, UInt32 offset, std::int64_t n);

/// Makes the record area empty: the used size is cut to the end of the application-info block, no record counts, what
/// was used is zeroed.
void DropRecords(pmymap map);
/// Makes an open database empty, with its slots in the offsets file. The held record is dropped.
void EmptyRecords(DmOpenRef db);

/// Brings everything in memory up to date after a move in the data file that was made: working header, handles, the
/// places of the records that moved.
void FollowMove(DmOpenRef db, const TailMove& move);
/// The same after a growth without a move.
void FollowGrowth(DmOpenRef db);

}  // namespace vorne
