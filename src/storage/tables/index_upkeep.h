// Inside the storage floor: what the tables ask of their indexes.
#pragma once

#include "storage/tables/areas.h"

namespace vorne {

/// Finds the catalogue's indexes whose head names the table, in the catalogue's order, and opens them: fills
/// TBL_numIndexes and TBL_IndexesNames. One that does not fit the table's records is made anew, with a line in the log;
/// one that cannot be made of the table's fields is left out, with a line in the log.
void AttachIndexes(myAppInfoType& table);
/// The same for the index of that name alone; its number, -1 when it is no index of the table.
int AttachIndex(myAppInfoType& table, const std::string& name);
/// Puts a new index, whose database is open, into the list.
int AddIndex(myAppInfoType& table, const char* name, DmOpenRef db, KeyFields key);
/// Closes and frees them.
void DetachIndexes(myAppInfoType& table);
/// Closes one and takes it out of the list.
void DetachIndex(myAppInfoType& table, int index);
/// Deletes the databases of the table's indexes.
void DeleteIndexes(const char* table);
/// Empties them, with the table.
void ZapIndexes(myAppInfoType& table);
/// Makes all of them anew.
void RebuildIndexes(myAppInfoType& table);
/// Makes one anew. False when it cannot be opened.
bool RebuildIndex(myAppInfoType& table, IDX_IndexesNames& index);
/// Opens an index of the list, should it be closed, and sees to it that it fits. False when it cannot be.
bool OpenIndex(myAppInfoType& table, IDX_IndexesNames& index);
bool CloseIndex(IDX_IndexesNames& index);  ///< false when it was not open

/// Calls `visit(area number, table)` for every area that has the database of `table` open: each has a list of its own.
template <class Visit>
void ForEachAreaOf(DmOpenRef table, Visit visit) {
  for (int number = 0; number < S_GLOB->TBL_lasttable; ++number)
    if (VORNE_RDD* area = AreaAt(number); area != nullptr && area->TBL_appinfo->TBL_dbRef == table)
      visit(number, *area);
}

/// The place of the record's entry in an open index, -1 when it has none.
std::int32_t PlaceOfRecord(const myAppInfoType& table, const IDX_IndexesNames& index, std::int32_t record);

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
