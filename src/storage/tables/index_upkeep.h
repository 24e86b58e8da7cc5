// Inside the storage floor: keeping the entries of indexes up to date with the records that are written.
#pragma once

#include "storage/tables/areas.h"

namespace vorne {

/// The place of the record's entry in an open index, -1 for no record of the table. An index without one for a record
/// is made anew.
std::int32_t PlaceOfRecord(myAppInfoType& table, IDX_IndexesNames& index, std::int32_t record);

/// Merges what waits into the files of all indexes of a table.
void SettleIndexes(const myAppInfoType& table);
/// Takes the entries of records from `first` on, which are gone, out of all indexes. What waits must be of such
/// records. False when an index does not have an entry for each of the others then: it wants to be made anew.
bool CutIndexes(myAppInfoType& table, std::uint32_t first);

/// The entries that one written record changes. Made before the record is stored, since it reads the old keys there
/// and marks the indexes as being behind; told afterwards. One at a time.
class EntryChanges {
 public:
  /// @param position of the stored record that the buffer will replace; -1 for a new one
  /// @param hostOrder numbers are stored as they stand in the buffer
  EntryChanges(VORNE_RDD& area, std::int32_t position, Boolean hostOrder = 0);
  /// The record stands at `position` now.
  void recordStored(std::int32_t position);

 private:
  void addChange(IDX_IndexesNames& index, std::int32_t position, Boolean hostOrder);

  VORNE_RDD& area_;
  std::size_t count_ = 0;
};

}  // namespace vorne
