// Inside the storage floor: descriptions of open tables.
#pragma once

#include "storage/format/description.h"

namespace vorne {

/// An index in a table's list, as all of them are made.
struct OwnedIndex : IDX_IndexesNames {
  bool countsFromZero;  ///< its block numbers the key fields from 0, and goes on to do so
};

/// A description in memory without database and indexes, as the callers know it. Error 5.
myAppInfoType* NewTable(const TableDescription& description);
/// What its block says.
TableDescription DescriptionOf(const myAppInfoType& table);
/// Frees it; its database and indexes are closed.
void FreeTable(myAppInfoType* table);

/// The application-info block of an open database; empty without one.
std::span<const char> BlockOf(DmOpenRef db);

}  // namespace vorne
