// Inside the storage floor: which indexes a table has, opening them, making them anew.
#pragma once

#include "storage/format/entry_order.h"
#include "storage/tables/areas.h"

namespace vorne {

/// The names of the catalogue's indexes whose heads name the table, in the catalogue's order, open or left out.
std::vector<std::string> IndexesOf(const char* table);
/// Indexes of a table that the catalogue does not know.
struct StrayIndexes {
  std::vector<std::string> names;  ///< of files that are such ones by their heads
  std::string unread;              ///< a file that may be another one: it could not be read (error, by errno)
  int error = 0;
};
/// Looks for them among the files of the data directory.
StrayIndexes StrayIndexesOf(const std::string& table);
/// Finds the catalogue's indexes whose head names the table, in the catalogue's order, and opens them: fills
/// TBL_numIndexes and TBL_IndexesNames. One that does not fit the table's records is made anew, with a line in the log;
/// one that cannot be made of the table's fields is left out, with a line in the log.
void AttachIndexes(myAppInfoType& table);
/// The same for the index of that name alone; its number, -1 when it is no index of the table.
int AttachIndex(myAppInfoType& table, const std::string& name);
/// Why the index of that name was left out, when there was no space for it; otherwise empty.
std::string WhyLeftOut(const std::string& name);
/// Puts a new index, whose database is open, into the list.
int AddIndex(myAppInfoType& table, const char* name, DmOpenRef db, KeyFields key);
/// The index is new: one that had its name and its place in the catalogue before may have been another table's.
void ForgetOwner(DmOpenRef index);
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
/// Makes one anew in which a record was met twice or not at all, with a line in the log.
void MendIndex(myAppInfoType& table, IDX_IndexesNames& index);
/// False when the entry at `place` names no record of the table, or the same one as the entry from which a walk in
/// `direction` (0: none) came to it.
inline bool NamesOneRecord(const Entries& entries, int records, int place, int direction) {
  const auto at = static_cast<UInt32>(place), from = static_cast<UInt32>(place - direction);
  if (at >= entries.count) return false;
  const std::int32_t record = entries.record(at);
  return record >= 0 && record < records && (direction == 0 || from >= entries.count || entries.record(from) != record);
}
/// False when the entry at `place`, through which the area's record has been loaded, has not that record's key.
bool NamesLoadedRecord(const VORNE_RDD& area, const IDX_IndexesNames& index, const Entries& entries, int place);
/// Opens an index of the list, should it be closed, and sees to it that it fits. False when it cannot be.
bool OpenIndex(myAppInfoType& table, IDX_IndexesNames& index);
bool CloseIndex(IDX_IndexesNames& index);  ///< false when it was not open

}  // namespace vorne
