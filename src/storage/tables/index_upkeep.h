// Inside the storage floor: what the tables ask of their indexes.
#pragma once

#include "storage/tables/areas.h"

namespace vorne {

/// Finds the catalogue's indexes whose head names the table, in the catalogue's order, and opens them: fills
/// TBL_numIndexes and TBL_IndexesNames. One that does not fit the table's records is made anew, with a line in the log.
void AttachIndexes(myAppInfoType& table);
/// Closes and frees them.
void DetachIndexes(myAppInfoType& table);
/// Deletes the databases of the table's indexes.
void DeleteIndexes(const char* table);
/// Empties them, with the table.
void ZapIndexes(myAppInfoType& table);
/// Makes all of them anew.
void RebuildIndexes(myAppInfoType& table);

/// The entries that one written record changes. Made before the record is stored, since it reads the old keys there
/// and marks the indexes as being behind; told afterwards.
class EntryChanges {
 public:
  /// @param position of the stored record that the buffer will replace; -1 for a new one
  EntryChanges(VORNE_RDD& area, std::int32_t position);
  /// The record stands at `position` now.
  void recordStored(std::int32_t position);

 private:
  struct Change {
    IDX_IndexesNames* index;
    std::string before, after;  // entries; empty for none
  };
  std::vector<Change> changes_;
};

}  // namespace vorne
