// Entries of an index: where one stands, sorting them in the file. What scripts' programs call directly; the tables'
// own searches are in tables/.
#include <algorithm>
#include <memory>

#include "storage/format/entry_order.h"
#include "storage/format/keys.h"
#include "storage/journal/journal.h"
#include "storage/records/entry_file.h"
#include "storage/records/open_databases.h"
#include "storage/records/records.h"
#include "storage/records/waiting_entries.h"

using namespace vorne;

namespace {

constexpr UInt32 kStepsAFlush = 2000;  // who walks long through an index gives the system time to write it

// The entries of an open index, all of them in the file.
Entries settledEntries(DmOpenRef index) {
  if (!IsOpen(index)) return {};
  SettleHeld(index);
  return EntriesOf(*index);
}

std::size_t keyBytes(const Entries& entries, int length) {
  return std::min(static_cast<std::size_t>(std::max(length, 0)), entries.keyLength());
}

// Entries as they stand in the file, counted or not.
Entries storedEntries(const OpenStruct& index) {
  OpenStruct counted = index;
  const UInt32 stride = RecordStride(index), begin = RecordsBegin(index.Head);
  const auto used = static_cast<UInt32>(index.hFile->szmap);
  if (index.Head.NumberOfRecords == 0 && stride != 0 && used > begin)
    counted.Head.NumberOfRecords = (used - begin) / stride;
  return EntriesOf(counted);
}

}  // namespace

int FindKeyInIndexFile(DmOpenRef index, const char* entry, int length, UInt32* position) {
  const Entries entries = settledEntries(index);
  if (entries.count == 0 || entry == nullptr || position == nullptr) return 0;
  const SoughtKey key(entry + kEntryKeyAt, keyBytes(entries, length));
  UInt32 at = 0;
  if (entries.count > 1) {
    // That search tells the place behind the last entry with this key; 0, before all entries, leaves no place at all.
    at = __FindBinary(index, const_cast<char*>(entry), nullptr, __SCmpFunc, static_cast<std::int16_t>(length)) - 1;
    if (at >= entries.count) return 0;
  }
  *position = at;
  if (key.compare(entries.key(at)) != 0) return 0;
  const auto record = Load<std::int32_t>(entry);
  const UInt32 first = FirstNotSmallerFromBack(entries, key, 0, at);
  for (UInt32 steps = 1;; --at, ++steps) {
    *position = at;
    if (entries.record(at) == record) return 1;
    if (steps % kStepsAFlush == 0) DmSyncDatabase(index);
    if (at == first) break;
  }
  *position = first == 0 ? 0 : first - 1;
  return 0;
}

int FindRecnoInIndexFile(DmOpenRef index, std::int32_t record, UInt32* position) {
  const Entries entries = settledEntries(index);
  for (UInt32 i = 0; i < entries.count; ++i) {
    if (entries.record(i) != record) continue;
    if (position != nullptr) *position = i;
    return 1;
  }
  return 0;
}

int OrdenarIndice(DmOpenRef index) {
  if (!IsOpen(index)) return 0;
  DmSyncDatabase(index);
  const Entries entries = storedEntries(*index);
  if (entries.count != 0 && !AreInOrder(entries)) {
    const ChangeSeenByReaders change;
    // It would stand for another entry afterwards.
    FreeHandle(HeldRecord(*index));
    const BehindWhile behind(index);
    const std::size_t bytes = entries.count * entries.stride;
    const auto sorted = std::make_unique<char[]>(bytes);
    char* to = sorted.get();
    for (const std::uint32_t number : KeyOrder(entries)) {
      std::memcpy(to, entries.at(number) - kRecordHeaderSize, entries.stride);
      to += entries.stride;
    }
    std::memcpy(entries.at(0) - kRecordHeaderSize, sorted.get(), bytes);
  }
  DmSyncDatabase(index);
  return 1;
}
