// Inside the storage floor: records as they stand in files, put into an open table, with its indexes kept up to date.
// For many records from outside: nothing here raises an error for want of space, and memory stays bounded however many
// there are.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>

#include "storage/databases/packing.h"
#include "storage/format/entry_maker.h"
#include "storage/tables/areas.h"

namespace vorne {

enum class Stored {
  Done,
  Later,   ///< it wants more space than it has: see widen()
  NoRoom,  ///< a file cannot grow
};

/// Entries of indexes wait until settle(), which wants to be called behind the last record.
class StoredRecords {
 public:
  /// @param area of the open table; nobody else writes to the table meanwhile
  /// @param key the number (from 0) of the index that tells which record is which, -1 for none
  StoredRecords(int area, int key);
  StoredRecords(const StoredRecords&) = delete;
  StoredRecords& operator=(const StoredRecords&) = delete;

  /// False when an index cannot be opened.
  bool isOpen() const { return isOpen_; }
  UInt32 count() const { return DmNumRecords(table_); }

  /// The position of a record with that one's key, a live one rather than a deleted one; -1 when there is none.
  int find(std::span<const char> record);
  /// Puts a sound record behind the last one, without a dirty bit.
  Stored append(std::span<const char> record);
  /// Gives the record at `position`, which find() found for them, these bytes, without a dirty bit. What equals it is
  /// not written.
  Stored replace(UInt32 position, std::span<const char> record);
  /// Marks it as deleted, without a dirty bit.
  Stored markDeleted(UInt32 position);

  /// The entries that wait take their places.
  void settle();
  /// Makes room for the records that were put off: true when there are some, so that they can be replaced now.
  bool widen();

 private:
  struct Index {
    IDX_IndexesNames& names;
    EntryMaker maker;
    bool isKey;
    std::string before, after;  // entries
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const { return std::hash<std::string_view>()(key); }
  };

  std::string_view keyOf(std::span<const char> record);
  int findInFile(std::string_view key, bool& isSound);
  bool hasRoom(std::size_t size);
  bool hasEntryRoom();
  void noteWaiting();
  Stored store(UInt32 position, std::span<const char> record);

  VORNE_RDD& area_;
  DmOpenRef table_;
  Fields fields_;
  int key_;
  bool isOpen_ = true;
  std::vector<Index> indexes_;
  std::string sought_, kept_;
  std::unordered_map<std::string, int, Hash, std::equal_to<>> fresh_;  // keys of appended records that wait
  UInt32 waiting_ = 0;                                                 // records whose entries wait
  std::size_t bytesPerRecord_ = 0;
  std::int64_t moved_ = 0;  // bytes that growing records have moved
  bool mayMove_ = false;    // however many
  std::vector<RecordSpace> putOff_;
  bool isPutOff_ = false;
};

}  // namespace vorne
