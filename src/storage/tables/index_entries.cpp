// What an index ought to hold, made of the records, and how much of it is looked at when a table is opened: counts, the
// entries' size, doubles and headers in small indexes, and a sample.
#include "storage/tables/index_entries.h"

#include <algorithm>

#include "runtime/latin1.h"
#include "storage/files/mapped_file.h"
#include "storage/format/entry_order.h"
#include "storage/format/index_evidence.h"
#include "storage/format/keys.h"
#include "storage/format/record_bytes.h"
#include "storage/records/entry_file.h"
#include "storage/records/records.h"
#include "storage/tables/table_descriptions.h"

namespace vorne {

namespace {

bool haveTheirHeaders(const Entries& entries) {
  for (UInt32 place = 0; place < entries.count; ++place)
    if (!HasEntryHeader(entries, place)) return false;
  return true;
}

bool hasPlace(const Entries& entries, UInt32 place, DmOpenRef table, EntryMaker& maker, char* expected) {
  if (place > 0 && std::memcmp(entries.key(place - 1), entries.key(place), entries.keyLength()) > 0) return false;
  const std::int32_t record = entries.record(place);
  if (record < 0) return false;
  const std::span<const char> bytes = BytesOf(table, static_cast<UInt32>(record));
  if (bytes.empty()) return false;
  maker.make(record, bytes, expected);
  return std::memcmp(expected, entries.at(place), entries.size) == 0;
}

// Calls `look(place)` for places all over the index, as long as it returns true.
template <class Look>
void lookAt(UInt32 count, Look look) {
  // Evenly over the whole: damage mostly hits a stretch.
  const UInt32 looks = std::min(count, kMostLookedAt);
  for (UInt32 i = 0; i < looks && look(static_cast<UInt32>(std::uint64_t{i} * count / looks)); ++i) {
  }
}

}  // namespace

std::vector<char> EntriesOfTable(DmOpenRef table, EntryMaker& maker) {
  const UInt32 count = DmNumRecords(table);
  // Found out before memory is taken for what no file could hold.
  if (std::uint64_t{count} * (maker.size() + kRecordHeaderSize) > kLargestFile) GrowthFailure(*table->hFile);
  std::vector<char> entries(count * maker.size());
  char* at = entries.data();
  for (UInt32 i = 0; i < count; ++i, at += maker.size())
    maker.make(static_cast<std::int32_t>(i), BytesOf(table, i), at);
  return entries;
}

std::string WhatDoesNotFit(DmOpenRef table, DmOpenRef index, EntryMaker& maker) {
  const UInt32 records = DmNumRecords(table), count = DmNumRecords(index);
  if (maker.size() == 0) return "tem campos que a tabela não tem"_l1;
  if (count != records) return "tem outro número de registros que a tabela"_l1;
  if (count == 0) return {};
  const Entries entries = EntriesOf(*index);
  if (entries.size != maker.size()) return "tem chaves de outro tamanho";
  if (count <= kMostCounted && NamesARecordTwice(entries, count)) return "não tem uma entrada para cada registro"_l1;
  if (count <= kMostCounted && !haveTheirHeaders(entries)) return "tem cabeçalhos de registros errados"_l1;
  std::vector<char> expected(maker.size());
  bool fits = true;
  lookAt(count, [&](UInt32 place) { return fits = hasPlace(entries, place, table, maker, expected.data()); });
  return fits ? std::string() : "tem chaves que os registros não têm"_l1;
}

bool CountsFromZero(DmOpenRef table, DmOpenRef index, Fields fields, KeyFields key) {
  const auto told = ParseIndexBlock(BlockOf(index));
  const Entries entries = DmNumRecords(index) == 0 ? Entries{} : EntriesOf(*index);
  return CountsFromZero({DmNumRecords(index), told ? told->keyLength : 0, fields,
                         [&](UInt32 place) -> std::span<const char> {
                           return {entries.at(place), entries.size};
                         },
                         [&](UInt32 position) { return BytesOf(table, position); }},
                        key);
}

}  // namespace vorne
