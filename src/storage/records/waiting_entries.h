// Inside the storage floor: entries of an index that wait to get into its file. The file is one sorted array, so that
// putting them in one by one would move half of it each time; together they take one pass. Everything that looks at the
// database (IsOpen's callers that count, read, search, flush or close) has them put in first.
#pragma once

#include <span>

#include "storage/vornerdd.h"

namespace vorne {

/// Sees to it that whoever finds the index after this process died knows that it is behind. To be called before the
/// table changes; cheap when entries wait already. Until the next call of InsertEntry or RemoveEntry it stays marked,
/// whatever settles it.
void MarkBehind(DmOpenRef index);
/// `entry`: the record's position (4 bytes) and the key, all entries of a database as long as each other. It goes
/// behind the entries with an equal key, as DmFindSortPosition would have it.
void InsertEntry(DmOpenRef index, std::span<const char> entry);
/// Takes out the one entry that equals it in all bytes; nothing when there is none.
void RemoveEntry(DmOpenRef index, std::span<const char> entry);
/// Puts in and takes out what waits. Error 5 when the file cannot grow.
void SettleEntries(DmOpenRef index);
/// True when what waited did not fit the index (an entry to be taken out was missing, or one to be put in was there):
/// it has to be made anew.
bool IsBehind(DmOpenRef index);
/// Forgets what waits: the database is going to be emptied or deleted.
void DropEntries(DmOpenRef index);
/// The database has just been emptied: what waited is forgotten, and it is not behind any more.
void SettleZapped(DmOpenRef index);
/// Marks an open index as being behind: whoever opens it next makes it anew.
void LeaveBehind(DmOpenRef index);
/// Keeps an index marked as being behind while its entries are rewritten.
class BehindWhile {
 public:
  explicit BehindWhile(DmOpenRef index);
  ~BehindWhile();
  BehindWhile(const BehindWhile&) = delete;
  BehindWhile& operator=(const BehindWhile&) = delete;

 private:
  DmOpenRef index_;
};
/// Leaves out the entries of records from position `first` on, which are gone. What waits must be of those records and
/// is forgotten. False when the file's entries cannot be told; they are as they were then, and stay behind.
bool RemoveEntriesFrom(DmOpenRef index, std::int32_t first);
/// Replaces all entries by these, in any order: `bytes` holds them one behind the other, `size` each. Those with equal
/// keys stay in the order in which they come. False when the file cannot grow: the old ones stay.
bool ReplaceEntries(DmOpenRef index, std::span<const char> bytes, std::size_t size);

}  // namespace vorne
