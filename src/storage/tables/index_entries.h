// Inside the storage floor: the entries that the records of a table have in an index.
#pragma once

#include "storage/format/entry_maker.h"
#include "storage/tables/areas.h"

namespace vorne {

/// One entry for each record of the table, one behind the other. Error 5 when no index file could hold them.
std::vector<char> EntriesOfTable(DmOpenRef table, EntryMaker& maker);

/// Opening holds so many entries of an index against their records, and thereby all of a smaller one's. Looking at
/// every entry would hold up each opening of a large table: what a sample misses is noticed when a walk or a search
/// comes by.
inline constexpr UInt32 kMostLookedAt = 4096;

/// Whether the entries of an open index show that its key counts the fields from 0.
bool CountsFromZero(DmOpenRef table, DmOpenRef index, Fields fields, KeyFields key);
/// What of an open index does not fit its table, in words for the log; empty when nothing is found. Looks at all
/// keys of a small table, at a bounded number of a large one's, and at whether every record of one that is not very
/// large has an entry, with a header as it should be.
std::string WhatDoesNotFit(DmOpenRef table, DmOpenRef index, EntryMaker& maker);

}  // namespace vorne
