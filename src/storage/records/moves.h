// Inside the storage floor: making and closing gaps in data files and offsets files.
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

}  // namespace vorne
