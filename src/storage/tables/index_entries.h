// Inside the storage floor: the entries that the records of a table have in an index.
#pragma once

#include "storage/tables/areas.h"

namespace vorne {

/// Makes entries of stored records, for one index.
class EntryMaker {
 public:
  /// Both must outlive it.
  EntryMaker(Fields fields, KeyFields key);

  /// Bytes of an entry; 0 when there can be none, since the key names a field that is missing or cannot be a key.
  std::size_t size() const { return size_; }
  void make(std::int32_t position, std::span<const char> record, char* at);

 private:
  Fields loaded_;
  KeyFields key_;
  std::size_t size_;
  std::vector<char> buffer_;
};

/// One entry for each record of the table, one behind the other. Error 5 when no index file could hold them.
std::vector<char> EntriesOfTable(DmOpenRef table, EntryMaker& maker);

/// What of an open index does not fit its table, in words for the log; empty when nothing is found. Looks at all
/// entries of a small table, at a bounded number of a large one.
std::string WhatDoesNotFit(DmOpenRef table, DmOpenRef index, EntryMaker& maker);

}  // namespace vorne
