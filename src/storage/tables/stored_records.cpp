#include "storage/tables/stored_records.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "storage/files/mapped_file.h"
#include "storage/format/entry_order.h"
#include "storage/format/record_bytes.h"
#include "storage/journal/journal.h"
#include "storage/records/entry_file.h"
#include "storage/records/records.h"
#include "storage/records/storing.h"
#include "storage/records/waiting_entries.h"
#include "storage/tables/index_attach.h"
#include "storage/tables/index_upkeep.h"

namespace vorne {

namespace {

constexpr std::size_t kMostBytesWaiting = 2u << 20;
constexpr std::size_t kBesideEntry = 24, kBesideKey = 96;  // for sorting, for looking up
// A growing record moves what lies behind it. So much may be moved before writing the table anew costs less.
constexpr std::int64_t kMostMoved = 64 << 20;
constexpr std::size_t kMostPutOff = 1 << 15;
// Of records with one key so many are looked at, so that a key that all of them have takes no time without end.
constexpr int kMostEqual = 256;

}  // namespace

StoredRecords::StoredRecords(int area, int key)
    : area_(*AreaAt(area)), table_(DatabaseOf(area_)), fields_(FieldsOf(area_)), key_(key) {
  myAppInfoType& table = *area_.TBL_appinfo;
  indexes_.reserve(table.TBL_numIndexes);
  for (std::uint32_t i = 0; i < table.TBL_numIndexes; ++i) {
    IDX_IndexesNames& names = *table.TBL_IndexesNames[i];
    Index& index = indexes_.emplace_back(
        Index{names, EntryMaker(fields_, KeyFieldsOf(names)), static_cast<int>(i) == key, {}, {}});
    isOpen_ = isOpen_ && OpenIndex(table, names) && index.maker.size() != 0;
    index.before.resize(index.maker.size());
    index.after.resize(index.maker.size());
    bytesPerRecord_ += index.maker.size() + kBesideEntry;
  }
  if (key_ >= static_cast<int>(indexes_.size())) key_ = -1;
  if (key_ >= 0) bytesPerRecord_ += indexes_[static_cast<std::size_t>(key_)].maker.size() + kBesideKey;
  // From here on only entries of what comes wait.
  if (isOpen_) settle();
}

std::string_view StoredRecords::keyOf(std::span<const char> record) {
  EntryMaker& maker = indexes_[static_cast<std::size_t>(key_)].maker;
  sought_.resize(maker.size());
  maker.make(0, record, sought_.data());
  return std::string_view(sought_).substr(kEntryKeyAt);
}

int StoredRecords::find(std::span<const char> record) {
  if (key_ < 0) return -1;
  const std::string_view key = keyOf(record);
  if (const auto fresh = fresh_.find(key); fresh != fresh_.end()) return fresh->second;
  bool isSound = true;
  const int found = findInFile(key, isSound);
  if (isSound) return found;
  settle();
  MendIndex(*area_.TBL_appinfo, indexes_[static_cast<std::size_t>(key_)].names);
  return findInFile(key, isSound);
}

int StoredRecords::findInFile(std::string_view key, bool& isSound) {
  Index& index = indexes_[static_cast<std::size_t>(key_)];
  const Entries entries = EntriesOf(*index.names.IDX_dbRef);
  if (entries.size != index.maker.size()) return -1;
  const SoughtKey sought(key.data(), key.size());
  int deleted = -1, seen = 0;
  for (std::uint32_t place = FirstNotSmallerFromBack(entries, sought, 0, entries.count);
       place < entries.count && sought.compare(entries.key(place)) == 0 && seen < kMostEqual; ++place, ++seen) {
    const std::int32_t position = entries.record(place);
    const std::span<const char> bytes = BytesOf(table_, static_cast<UInt32>(position));
    isSound = !bytes.empty();
    if (isSound) index.maker.make(position, bytes, index.before.data());
    isSound = isSound && key == std::string_view(index.before).substr(kEntryKeyAt);
    if (!isSound) return -1;
    if (!IsDeletedRecord(fields_, bytes)) return position;
    if (deleted < 0) deleted = position;
  }
  return deleted;
}

bool StoredRecords::hasEntryRoom() {
  const auto waiting = static_cast<std::size_t>(waiting_) + 1;
  return std::all_of(indexes_.begin(), indexes_.end(), [waiting](const Index& index) {
    return EnsureRoom(index.names.IDX_dbRef->hFile,
                      static_cast<long>(waiting * (index.maker.size() + kRecordHeaderSize)));
  });
}

bool StoredRecords::hasRoom(std::size_t size) {
  return EnsureRoom(table_->hFile, static_cast<long>(size + kRecordHeaderSize)) &&
         (table_->hOS == nullptr || EnsureRoom(table_->hOS, kOffsetSize)) && hasEntryRoom();
}

void StoredRecords::noteWaiting() {
  if (++waiting_ * bytesPerRecord_ > kMostBytesWaiting) settle();
}

Stored StoredRecords::append(std::span<const char> record) {
  const UInt32 position = count();
  if (!hasRoom(record.size())) return Stored::NoRoom;
  const ChangeSeenByReaders change;
  for (Index& index : indexes_) {
    index.maker.make(static_cast<std::int32_t>(position), record, index.after.data());
    // Before the record is stored: killed between record and entry, the index would lack one and not say so.
    MarkBehind(index.names.IDX_dbRef);
  }
  if (!AppendRecord(table_, record)) return Stored::NoRoom;
  for (const Index& index : indexes_) InsertEntry(index.names.IDX_dbRef, index.after);
  if (key_ >= 0)
    fresh_.emplace(indexes_[static_cast<std::size_t>(key_)].after.substr(kEntryKeyAt), static_cast<int>(position));
  noteWaiting();
  return Stored::Done;
}

Stored StoredRecords::replace(UInt32 position, std::span<const char> record) {
  const std::span<const char> old = BytesOf(table_, position);
  if (old.size() < kEndMarkSize) return Stored::NoRoom;
  if (record.size() < old.size()) {
    // A record that gets shorter keeps its length, so that nothing behind it has to move.
    kept_.assign(record.data(), record.size() - kEndMarkSize);
    kept_.resize(old.size() - kEndMarkSize);
    kept_.append(record.data() + record.size() - kEndMarkSize, kEndMarkSize);
    record = kept_;
  }
  if (record.size() != old.size() || std::memcmp(record.data(), old.data(), old.size()) != 0)
    return store(position, record);
  UInt16 attributes = 0;
  if (DmRecordInfo(table_, position, &attributes) == errNone && (attributes & kDirty) != 0) {
    attributes = static_cast<UInt16>(attributes & ~kDirty);
    DmSetRecordInfo(table_, position, &attributes);
  }
  return Stored::Done;
}

Stored StoredRecords::markDeleted(UInt32 position) {
  const std::span<const char> old = BytesOf(table_, position);
  if (old.size() < kEndMarkSize) return Stored::NoRoom;
  std::string marked(old.data(), old.size());
  // Where a mark stands in front of zeros, that one would be left inside the record.
  std::fill(marked.end() - static_cast<std::ptrdiff_t>(MarkBytes(fields_, old).size()), marked.end(), '\0');
  marked[marked.size() - kEndMarkSize] = kDeleted;
  return replace(position, marked);
}

Stored StoredRecords::store(UInt32 position, std::span<const char> record) {
  const std::span<const char> old = BytesOf(table_, position);
  const auto place = static_cast<std::int64_t>(old.data() - table_->hFile->mapmem);
  const UInt32 space = Load<RecordHeader>(old.data() - kRecordHeaderSize).AllocatedSpace;
  if (record.size() > space) {
    const std::int64_t behind = table_->hFile->szmap - place;
    if (!mayMove_ && moved_ + behind > kMostMoved) {
      isPutOff_ = true;
      if (putOff_.size() < kMostPutOff) putOff_.push_back({position, static_cast<std::uint16_t>(record.size())});
      return Stored::Later;
    }
    moved_ += behind;
    if (!EnsureRoom(table_->hFile, static_cast<long>(record.size() - space))) return Stored::NoRoom;
  }
  if (!hasEntryRoom()) return Stored::NoRoom;
  const ChangeSeenByReaders change;
  // The mapping may have moved with the room.
  const std::span<const char> now = BytesOf(table_, position);
  for (Index& index : indexes_) {
    // It has the key by which it was found.
    if (index.isKey) continue;
    index.maker.make(static_cast<std::int32_t>(position), now, index.before.data());
    index.maker.make(static_cast<std::int32_t>(position), record, index.after.data());
    if (index.before != index.after) MarkBehind(index.names.IDX_dbRef);
  }
  if (!StoreRecord(table_, position, record)) return Stored::NoRoom;
  bool changed = false;
  for (const Index& index : indexes_) {
    if (index.isKey || index.before == index.after) continue;
    RemoveEntry(index.names.IDX_dbRef, index.before);
    InsertEntry(index.names.IDX_dbRef, index.after);
    changed = true;
  }
  if (changed) noteWaiting();
  return Stored::Done;
}

void StoredRecords::settle() {
  SettleIndexes(*area_.TBL_appinfo);
  waiting_ = 0;
  fresh_.clear();
  for (const Index& index : indexes_)
    if (IsBehind(index.names.IDX_dbRef)) MendIndex(*area_.TBL_appinfo, index.names);
  // Entries have moved, for every area that has the table open.
  ForEachAreaOf(table_, [](int, VORNE_RDD& area) {
    for (std::uint32_t i = 0; i < area.TBL_appinfo->TBL_numIndexes; ++i)
      area.TBL_appinfo->TBL_IndexesNames[i]->IDX_recID = -1;
    DoubtKeys(area);
  });
}

bool StoredRecords::widen() {
  settle();
  if (!std::exchange(isPutOff_, false)) return false;
  std::sort(putOff_.begin(), putOff_.end(),
            [](const RecordSpace& a, const RecordSpace& b) { return a.index < b.index; });
  // Without room for a copy they grow one by one.
  mayMove_ = !WidenRecords(table_, putOff_);
  putOff_.clear();
  return true;
}

}  // namespace vorne
