// Searches in databases whose records are entries in order. The position found is the one at which such an entry would
// be put in: behind those that are equal. Indexes are searched by their bytes alone; for other databases the caller's
// function is asked at every probe.
#include <algorithm>
#include <optional>

#include "storage/format/entry_order.h"
#include "storage/format/keys.h"
#include "storage/records/entry_file.h"
#include "storage/records/open_databases.h"
#include "storage/records/records.h"

using namespace vorne;

namespace {

constexpr int kUnknownKeySubcode = 2;

// What the entry at `b` has for a key, when it lies in the database whose application-info block that is.
int keyLengthThere(const char* b, MemHandle appInfo, int length) {
  const RecordStruct* block = RecordOf(appInfo);
  if (block == nullptr || !IsOpen(block->father)) return length;
  const mymap& map = *block->father->hFile;
  // Programs compare with entries of their own making too, before which there is no header to look at.
  if (b < map.mapmem + kHeaderSize + kRecordHeaderSize || b >= map.mapmem + map.szmap) return length;
  const int has = Load<RecordHeader>(b - kRecordHeaderSize).RecordLen;
  return std::min(length, has - static_cast<int>(kEntryKeyAt));
}

// An entry's bytes where they lie, without taking a handle; null when it cannot be read.
char* entryBytes(const OpenStruct& db, UInt32 index) {
  const UInt32 place = RecordPlace(db, index);
  return place == 0 ? nullptr : db.hFile->mapmem + place + kRecordHeaderSize;
}

// Entries of any database, compared by a function of the caller's.
// Scripts and programs in the field search databases that are no indexes: nothing is known of their records but the
// order that the function gives.
class ForeignEntries {
 public:
  ForeignEntries(const OpenStruct& db, void* key, void* info, DmComparF* function, std::int16_t length)
      : db_(db),
        key_(key),
        info_(info),
        compare_(function),
        length_(length),
        appInfo_(HandleOf(RecordInSlot(db.appInfoID - 1))) {}

  /// None for an entry that cannot be read.
  std::optional<int> compare(UInt32 probe) const {
    char* entry = entryBytes(db_, probe);
    if (entry == nullptr) return {};
    return compare_(key_, entry, length_, info_, nullptr, appInfo_);
  }
  void expect(std::int64_t, std::int64_t) const {}
  // What an unknown function takes for equal need not end where a search by halves would find the end.
  UInt32 runFrom(UInt32 probe) const { return probe; }

 private:
  const OpenStruct& db_;
  void *key_, *info_;
  DmComparF* compare_;
  std::int16_t length_;
  MemHandle appInfo_;
};

// Entries of an index, by their keys.
class IndexEntries {
 public:
  IndexEntries(const Entries& entries, const char* key, std::size_t length) : entries_(entries), key_(key, length) {}

  // By its place, whatever the header before it says: one damaged byte there must not end every search that comes by.
  int compare(UInt32 probe) const { return key_.compare(entries_.key(probe)); }
  // Fetches the two entries of which one comes next while the present one is compared.
  void expect(std::int64_t smaller, std::int64_t greater) const {
    __builtin_prefetch(entries_.key(static_cast<std::size_t>(std::max<std::int64_t>(smaller, 0))));
    __builtin_prefetch(entries_.key(static_cast<std::size_t>(greater)));
  }
  UInt32 runFrom(UInt32 probe) const { return FirstGreater(entries_, key_, probe, entries_.count); }

 private:
  const Entries& entries_;
  SoughtKey key_;
};

template <class Searched>
UInt32 sortPosition(std::int64_t count, const Searched& entries) {
  // `seen`: one behind the last entry that was equal, -1 before there was one.
  std::int64_t low = 0, high = count - 1, seen = -1;
  // The first probe is entry 0, not the middle, and equal entries are walked from where they are met: where a run of
  // equal keys begins and ends for the callers depends on both.
  for (std::int64_t probe = 0; probe < count && low <= high;) {
    entries.expect((low + probe - 1) / 2, (probe + 1 + high) / 2);
    const std::optional<int> order = entries.compare(static_cast<UInt32>(probe));
    if (!order) return probe == 0 ? kAppend : static_cast<UInt32>(seen >= 0 ? seen : low);
    if (*order == 0) {
      seen = probe = entries.runFrom(static_cast<UInt32>(probe) + 1);
      continue;
    }
    if (seen >= 0) return static_cast<UInt32>(seen);
    if (*order > 0)
      low = probe + 1;
    else
      high = probe - 1;
    probe = (low + high) / 2;
  }
  return static_cast<UInt32>(seen >= 0 ? seen : low);
}

}  // namespace

std::int16_t __SCmpFunc(void* a, void* b, std::int16_t length, void*, void*, MemHandle appInfo) {
  if (a == nullptr || b == nullptr) __RuntimeError(3, kUnknownKeySubcode);
  const auto *sought = static_cast<const char*>(a), *entry = static_cast<const char*>(b);
  const int compared = std::max(keyLengthThere(entry, appInfo, length), 0);
  return static_cast<std::int16_t>(
      CompareKeys(sought + kEntryKeyAt, entry + kEntryKeyAt, static_cast<std::size_t>(compared)));
}

UInt32 __FindBinary(DmOpenRef db, void* key, void* info, DmComparF* compare, std::int16_t length) {
  if (!IsOpen(db) || key == nullptr || compare == nullptr) return kAppend;
  SettleHeld(db);
  const Entries entries = compare == __SCmpFunc ? EntriesOf(*db) : Entries();
  if (entries.count == 0)
    return sortPosition(db->Head.NumberOfRecords, ForeignEntries(*db, key, info, compare, length));
  const auto compared = std::min(static_cast<std::size_t>(std::max<std::int16_t>(length, 0)), entries.keyLength());
  return sortPosition(entries.count,
                      IndexEntries(entries, static_cast<const char*>(key) + sizeof(std::int32_t), compared));
}

UInt32 DmFindSortPosition(DmOpenRef db, void* key, void* info, DmComparF* compare, std::int16_t length) {
  return __FindBinary(db, key, info, compare, length);
}

UInt32 __FindSequential(DmOpenRef db, void* key, void* info, DmComparF* compare, std::int16_t length) {
  if (!IsOpen(db) || key == nullptr || compare == nullptr) return kAppend;
  SettleHeld(db);
  const ForeignEntries entries(*db, key, info, compare, length);
  const UInt32 count = db->Head.NumberOfRecords;
  for (UInt32 i = 0; i < count; ++i) {
    const std::optional<int> order = entries.compare(i);
    if (!order) return i == 0 ? kAppend : i;
    if (*order <= 0) return i;
  }
  return count;
}

Err DmFindRecordByID(DmOpenRef db, UInt32 id, UInt32* index) {
  if (!IsOpen(db) || index == nullptr) return errArgument;
  SettleHeld(db);
  for (UInt32 i = 0; i < db->Head.NumberOfRecords; ++i) {
    const char* entry = entryBytes(*db, i);
    if (entry == nullptr || HeaderAtPlace(*db, RecordPlace(*db, i)).RecordLen < sizeof id) continue;
    if (Load<UInt32>(entry) != id) continue;
    *index = i;
    return errNone;
  }
  return errNoSuchRecord;
}
