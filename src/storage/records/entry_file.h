// Inside the storage floor: the file of an index as an array of entries.
#pragma once

#include <vector>

#include "storage/files/mapped_file.h"
#include "storage/format/chain.h"
#include "storage/format/entry_order.h"

namespace vorne {

/// The entries that count. None when the file holds no entries, records that are too short for one, or fewer bytes than
/// it counts records.
Entries EntriesOf(const OpenStruct& index);

/// False when the header of the entry at `place` is another than its index gives it; attributes may differ. The entry
/// is found without it, but who reads the file record by record goes by it.
inline bool HasEntryHeader(const Entries& entries, UInt32 place) {
  const auto header = Load<RecordHeader>(entries.at(place) - kRecordHeaderSize);
  return header.RecordLen == entries.size && header.AllocatedSpace == entries.size && IsMarked(header);
}

/// Stores in the head of an open index whether it is behind its table (kEntriesWait) or not (0).
void StoreMark(const OpenStruct& index, std::uint32_t mark);

// The array of an index file while it changes. What moves are whole records with equal headers, and the count and the
// used size follow each other record by record: whoever finds the file after a kill finds sound records, one of them
// uncounted at most.
class EntryFile {
 public:
  EntryFile(DmOpenRef index, std::size_t entrySize);
  ~EntryFile();
  EntryFile(const EntryFile&) = delete;
  EntryFile& operator=(const EntryFile&) = delete;

  Entries entries() const { return {record(0) + kRecordHeaderSize, stride_, stride_ - kRecordHeaderSize, count()}; }
  /// False when the file's records are others than such entries, or do not all lie inside it.
  bool isSound() const;

  /// Room for `count` more entries; what lies behind the last one counts for nothing. False when the file cannot grow.
  bool reserve(UInt32 count);
  void store(std::size_t place, const char* entry) {
    std::memcpy(record_.data() + kRecordHeaderSize, entry, stride_ - kRecordHeaderSize);
    std::memcpy(record(place), record_.data(), stride_);
  }
  void move(std::size_t from, std::size_t to, std::size_t entries) {
    if (entries != 0) std::memmove(record(to), record(from), entries * stride_);
  }
  /// Lets `count` stored entries behind the last one count.
  void extend(UInt32 count) {
    for (UInt32 i = 0; i < count; ++i) {
      ExtendUsed(index_->hFile, static_cast<std::int64_t>(stride_));
      StoreCount(index_->hFile, ++index_->Head.NumberOfRecords);
    }
  }
  /// Leaves out the last `count` entries.
  void cut(UInt32 count) {
    for (UInt32 i = 0; i < count; ++i) {
      StoreCount(index_->hFile, --index_->Head.NumberOfRecords);
      ExtendUsed(index_->hFile, -static_cast<std::int64_t>(stride_));
    }
    std::memset(record(this->count()), 0, count * stride_);
  }

 private:
  UInt32 count() const { return index_->Head.NumberOfRecords; }
  UInt32 used() const { return static_cast<UInt32>(index_->hFile->szmap); }
  char* record(std::size_t place) const { return index_->hFile->mapmem + RecordsBegin(index_->Head) + place * stride_; }

  DmOpenRef index_;
  std::size_t stride_;
  std::vector<char> record_;  // an entry as a record
};

}  // namespace vorne
