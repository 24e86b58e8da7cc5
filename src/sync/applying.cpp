#include "sync/applying.h"

#include <algorithm>
#include <cstring>

#include "storage/files/mapped_file.h"
#include "storage/format/record_bytes.h"
#include "storage/journal/journal.h"
#include "storage/records/records.h"
#include "storage/tables/stored_records.h"
#include "sync/applying_note.h"
#include "sync/in_batch.h"
#include "sync/session_report.h"
#include "sync/state_lines.h"
#include "sync/vornesync.h"

namespace vorne {

namespace {

// Memo references lie in records with the highest byte first.
UInt32 referenceAt(std::span<const char> record, std::uint32_t at) {
  return std::uint32_t{static_cast<unsigned char>(record[at])} << 24 |
         std::uint32_t{static_cast<unsigned char>(record[at + 1])} << 16 |
         std::uint32_t{static_cast<unsigned char>(record[at + 2])} << 8 | static_cast<unsigned char>(record[at + 3]);
}
void storeReference(std::string& record, std::uint32_t at, UInt32 reference) {
  for (std::uint32_t i = 0; i < 4; ++i) record[at + i] = static_cast<char>(reference >> (24 - 8 * i));
}

// A memo's text ends with its zero, in packets it may or may not have one.
std::string_view textOf(Bytes memo) {
  const std::string_view text(memo.data(), memo.size());
  return text.substr(0, text.find('\0'));
}

using Records = std::vector<SentRecord>;

// One table while packets are put into it.
class Application {
 public:
  Application(const std::string& name, int area, int key, const ReceivedPackets& packets)
      : name_(name), area_(*AreaAt(area)), fields_(FieldsOf(area_)), packets_(packets), records_(area, key) {
    for (const ControlFieldTBL& field : fields_) memoFields_ += field.FieldType == TBLMEMO;
    isOpen_ = records_.isOpen() &&
              (memoFields_ == 0 || OpenMemoDB(area) || (CreateMemoDB(area_.TBL_appinfo->TBL_name) && OpenMemoDB(area)));
  }

  bool isOpen() const { return isOpen_; }
  bool isEmpty() const { return records_.count() == 0; }

  /// The records of a packet when all of them can be the table's, else none.
  std::optional<Records> check(UInt32 number) {
    std::optional<Records> records = packets_.content(number, memoFields_);
    if (records)
      for (const SentRecord& record : *records)
        if (!isSound(record)) return {};
    return records;
  }
  std::optional<Records> checkOrTell(UInt32 number) {
    std::optional<Records> records = check(number);
    // A host that sends nothing else does not fill the log.
    constexpr int kMostTold = 20;
    if (!records && ++damaged_ <= kMostTold) Tell(SyncText::PacketDamaged, static_cast<int>(number), name_.c_str());
    return records;
  }
  /// What the table needs for all records; none when a packet is damaged.
  struct Needs {
    std::int64_t records = 0, bytes = 0, memos = 0, memoBytes = 0;
  };
  std::optional<Needs> checkAll() {
    Needs needs;
    for (UInt32 number = 1; number <= packets_.count(); ++number) {
      const std::optional<Records> records = checkOrTell(number);
      if (!records) return {};
      for (const SentRecord& record : *records) add(record, needs);
    }
    return needs;
  }
  /// True when the files of the table can take that much instead of what they hold.
  bool hasRoomInstead(const Needs& needs) const {
    const DmOpenRef table = DatabaseOf(area_);
    return hasRoomInstead(table->hFile, needs.bytes) &&
           (table->hOS == nullptr || hasRoomInstead(table->hOS, needs.records * kOffsetSize)) &&
           (area_.TBL_memo == nullptr || (hasRoomInstead(area_.TBL_memo->hFile, needs.memoBytes) &&
                                          hasRoomInstead(area_.TBL_memo->hOS, needs.memos * kOffsetSize))) &&
           hasIndexRoom(needs.records);
  }

  bool appendAll(const Records& records, std::size_t from = 0) {
    const ChangeSeenByReaders change;
    for (std::size_t i = from; i < records.size(); ++i)
      if (!append(records[i])) return false;
    return true;
  }

  Stored merge(const SentRecord& record) {
    const int position = records_.find(record.record);
    const bool deletes = IsDeletedRecord(fields_, record.record);
    if (position < 0) return deletes || append(record) ? Stored::Done : Stored::NoRoom;
    if (isLeftBehind_ && isChangedSince(static_cast<UInt32>(position))) return Stored::Done;
    if (deletes) return records_.markDeleted(static_cast<UInt32>(position));
    const std::optional<Bytes> bytes = withMemos(record, position);
    return bytes ? records_.replace(static_cast<UInt32>(position), *bytes) : Stored::NoRoom;
  }

  /// How many of the packet's first records stand at `position` and behind, as an interrupted run has left them.
  std::size_t alreadyThere(const Records& records, UInt32 position) {
    std::size_t found = 0;
    while (found < records.size() && isThere(records[found], position + static_cast<UInt32>(found))) ++found;
    return found;
  }

  UInt32 count() const { return records_.count(); }
  void settle() { records_.settle(); }
  bool widen() { return records_.widen(); }

  void tellProgress(UInt32 number, std::size_t records) {
    applied_ += records;
    constexpr UInt32 kTellEvery = 16;
    if (number % kTellEvery == 0 || number == packets_.count())
      ShowProgress(2, static_cast<int>(std::uint64_t{100} * number / packets_.count()), nullptr);
  }
  /// All records are in the table.
  void finish() {
    records_.settle();
    DmSyncDatabase(DatabaseOf(area_));
    if (area_.TBL_memo != nullptr) DmSyncDatabase(area_.TBL_memo);
    const myAppInfoType& table = *area_.TBL_appinfo;
    for (std::uint32_t i = 0; i < table.TBL_numIndexes; ++i) DmSyncDatabase(table.TBL_IndexesNames[i]->IDX_dbRef);
    ReportOf(name_).applied += applied_;
  }

 private:
  bool isSound(const SentRecord& record) {
    if (!IsRecordOf(fields_, record.record, memosAt_)) return false;
    return std::all_of(memosAt_.begin(), memosAt_.end(),
                       [&](std::uint32_t at) { return referenceAt(record.record, at) == 0; });
  }

  static void add(const SentRecord& record, Needs& needs) {
    ++needs.records;
    needs.bytes += static_cast<std::int64_t>(record.record.size() + kRecordHeaderSize);
    for (const Bytes memo : record.memos)
      if (!textOf(memo).empty()) {
        ++needs.memos;
        needs.memoBytes += static_cast<std::int64_t>(memo.size() + 1 + kRecordHeaderSize);
      }
  }
  static bool hasRoomInstead(pmymap map, std::int64_t bytes) {
    const std::int64_t more = bytes - (map->szmap - static_cast<std::int64_t>(RecordsBegin(HeaderOf(*map))));
    return EnsureRoom(map, static_cast<long>(std::clamp<std::int64_t>(more, 0, kLargestFile)));
  }

  bool hasIndexRoom(std::int64_t records) const {
    const myAppInfoType& table = *area_.TBL_appinfo;
    return std::all_of(table.TBL_IndexesNames, table.TBL_IndexesNames + table.TBL_numIndexes,
                       [records](const IDX_IndexesNames* index) {
                         const auto entry = static_cast<std::int64_t>(kEntryKeyAt) + index->IDX_tam_max_key;
                         return hasRoomInstead(index->IDX_dbRef->hFile, records * (entry + kRecordHeaderSize));
                       });
  }

  // Changed after a session's changes were put together, and so behind what that session received.
  bool isChangedSince(UInt32 position) const {
    UInt16 attributes = 0;
    return DmRecordInfo(DatabaseOf(area_), position, &attributes) == errNone &&
           (attributes & (kDirty | kPrepared)) == kDirty;
  }

  bool append(const SentRecord& record) {
    const std::optional<Bytes> bytes = withMemos(record, -1);
    return bytes && records_.append(*bytes) == Stored::Done;
  }

  // The record with references to its memo texts, which are stored first: killed in between, a text is there that
  // nothing names. The references of the record at `position` are kept as far as that can be. None without room.
  std::optional<Bytes> withMemos(const SentRecord& record, int position) {
    if (memoFields_ == 0) return record.record;
    std::vector<UInt32> references(memoFields_);
    if (position >= 0) takeReferences(static_cast<UInt32>(position), references);
    IsRecordOf(fields_, record.record, memosAt_);
    scratch_.assign(record.record.data(), record.record.size());
    for (std::size_t i = 0; i < memosAt_.size(); ++i) {
      if (!storeMemo(textOf(record.memos[i]), references[i])) return {};
      storeReference(scratch_, memosAt_[i], references[i]);
    }
    return scratch_;
  }
  void takeReferences(UInt32 position, std::vector<UInt32>& references) {
    const std::span<const char> old = BytesOf(DatabaseOf(area_), position);
    // A damaged record keeps nothing.
    if (!IsRecordOf(fields_, old, memosAt_)) return;
    for (std::size_t i = 0; i < memosAt_.size(); ++i) references[i] = referenceAt(old, memosAt_[i]);
  }
  std::string_view memoText(UInt32 reference) const {
    return reference == 0 ? std::string_view() : textOf(BytesOf(area_.TBL_memo, reference - 1));
  }
  std::size_t memoSpace(UInt32 reference) const {
    const std::span<const char> old = reference == 0 ? Bytes() : BytesOf(area_.TBL_memo, reference - 1);
    return old.empty() ? 0 : Load<RecordHeader>(old.data() - kRecordHeaderSize).AllocatedSpace;
  }
  // Gives the reference a memo of that text: the one it has when that can hold it, or a new one.
  bool storeMemo(std::string_view text, UInt32& reference) {
    if (reference > DmNumRecords(area_.TBL_memo)) reference = 0;
    if (memoText(reference) == text) return true;
    if (text.empty() || memoSpace(reference) <= text.size()) reference = 0;
    if (text.empty()) return true;
    memo_.assign(text);
    const Bytes bytes(memo_.c_str(), memo_.size() + 1);
    if (reference != 0) return StoreRecord(area_.TBL_memo, reference - 1, bytes);
    UInt32 position = 0;
    if (!TryAppendRecord(area_.TBL_memo, bytes, &position)) return false;
    reference = position + 1;
    return true;
  }

  bool isThere(const SentRecord& record, UInt32 position) {
    UInt16 attributes = 0;
    if (DmRecordInfo(DatabaseOf(area_), position, &attributes) != errNone || (attributes & kDirty) != 0) return false;
    const std::span<const char> stored = BytesOf(DatabaseOf(area_), position);
    if (stored.size() != record.record.size() || !IsRecordOf(fields_, stored, memosAt_)) return false;
    scratch_.assign(stored.data(), stored.size());
    for (std::size_t i = 0; i < memosAt_.size(); ++i) {
      if (memoText(referenceAt(stored, memosAt_[i])) != textOf(record.memos[i])) return false;
      storeReference(scratch_, memosAt_[i], 0);
    }
    return std::memcmp(scratch_.data(), record.record.data(), scratch_.size()) == 0;
  }

  std::string name_;
  VORNE_RDD& area_;
  Fields fields_;
  const ReceivedPackets& packets_;
  StoredRecords records_;
  bool isOpen_;
  const bool isLeftBehind_ = ng != nullptr && ng->Verification != 0;  // by an earlier session
  std::size_t memoFields_ = 0;
  std::uint64_t applied_ = 0;
  int damaged_ = 0;
  std::vector<std::uint32_t> memosAt_;
  std::string scratch_, memo_;
};

Applied loadAll(Application& table, int area, const ReceivedPackets& packets) {
  for (UInt32 number = 1; number <= packets.count(); ++number) {
    const std::optional<Records> records = table.checkOrTell(number);
    if (records && table.appendAll(*records)) {
      table.tellProgress(number, records->size());
      continue;
    }
    table.settle();
    // Nothing was there before: a part of a table that was to come as a whole is no table.
    __dbZap(__INIT_DOUBLE(area));
    return records ? Applied::NoRoom : Applied::Damaged;
  }
  table.finish();
  return Applied::Whole;
}

// Applies every packet that is not damaged, as often as records have to be made room for.
Applied mergeAll(Application& table, const ReceivedPackets& packets) {
  bool isWhole = true, isFirst = true;
  do {
    for (UInt32 number = 1; number <= packets.count(); ++number) {
      const std::optional<Records> records = isFirst ? table.checkOrTell(number) : table.check(number);
      isWhole = isWhole && records;
      if (!records) continue;
      const ChangeSeenByReaders change;
      for (const SentRecord& record : *records)
        if (table.merge(record) == Stored::NoRoom) {
          table.settle();
          return Applied::NoRoom;
        }
      table.tellProgress(number, isFirst ? records->size() : 0);
    }
    isFirst = false;
  } while (table.widen());
  table.finish();
  return isWhole ? Applied::Whole : Applied::Damaged;
}

}  // namespace

Applied ReplaceTable(const std::string& name, int area, const ReceivedPackets& packets) {
  const InBatch batch;
  Application table(name, area, -1, packets);
  if (!table.isOpen()) return Applied::NoIndex;
  if (!table.isEmpty()) {
    // Before the old records go: a table that came damaged is not worth them.
    const auto needs = table.checkAll();
    if (!needs) return Applied::Damaged;
    if (!table.hasRoomInstead(*needs)) return Applied::NoRoom;
    __dbZap(__INIT_DOUBLE(area));
  }
  return loadAll(table, area, packets);
}

Applied MergeTable(const std::string& name, int area, int index, const ReceivedPackets& packets) {
  const InBatch batch;
  Application table(name, area, index, packets);
  return table.isOpen() ? mergeAll(table, packets) : Applied::NoIndex;
}

Applied AppendToTable(const std::string& name, int area, const ReceivedPackets& packets) {
  const InBatch batch;
  Application table(name, area, -1, packets);
  if (!table.isOpen()) return Applied::NoIndex;
  ApplyingNote note(name, packets);
  const std::optional<Progress> interrupted = note.read();
  Progress progress = interrupted.value_or(Progress{0, table.count()});
  // What has begun goes on; else a damaged packet keeps all of them out, so that whoever sends them again doubles none.
  if (!interrupted && !table.checkAll()) return Applied::Damaged;
  if (!note.store(progress)) return Applied::NoRoom;
  for (UInt32 number = progress.packets + 1; number <= packets.count(); ++number) {
    const std::optional<Records> records = table.checkOrTell(number);
    if (!records) return Applied::Damaged;
    // The interrupted run may have come to the middle of a packet.
    const bool isNext = interrupted && number == interrupted->packets + 1;
    if (!table.appendAll(*records, isNext ? table.alreadyThere(*records, interrupted->records) : 0)) {
      table.settle();
      return Applied::NoRoom;
    }
    progress = {number, table.count()};
    if (!note.store(progress)) return Applied::NoRoom;
    table.tellProgress(number, records->size());
  }
  table.finish();
  return Applied::Whole;
}

}  // namespace vorne
