#include "storage/tables/index_entries.h"

#include <algorithm>

#include "runtime/latin1.h"
#include "storage/databases/databases.h"
#include "storage/format/entry_order.h"
#include "storage/format/keys.h"
#include "storage/format/record_bytes.h"
#include "storage/records/records.h"

namespace vorne {

namespace {

constexpr UInt32 kMostLookedAt = 4096;
constexpr std::size_t kBufferSpare = 4;

// The fields up to the last one of the key, and one more: the last one given is taken for the deletion mark.
Fields fieldsToLoad(Fields fields, KeyFields key) {
  std::size_t last = 1;
  for (const IDX_Indexes& part : key) last = std::max<std::size_t>(last, part.KeyField);
  return fields.first(std::min(last + 1, fields.size()));
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

}  // namespace

EntryMaker::EntryMaker(Fields fields, KeyFields key)
    : loaded_(fieldsToLoad(fields, key)), key_(key), size_(static_cast<std::size_t>(KeyRoom(fields, key))) {
  if (size_ == 0) return;
  size_ += kEntryKeyAt;
  const ControlFieldTBL& last = fields.back();
  buffer_.resize(static_cast<std::size_t>(last.iOffset + BufferRoom(last)) + kBufferSpare);
}

void EntryMaker::make(std::int32_t position, std::span<const char> record, char* at) {
  LoadFields(loaded_, record, bswapnum, buffer_.data());
  Store(at, position);
  MakeKey(loaded_, key_, buffer_.data(), false, at + kEntryKeyAt);
}

std::vector<char> EntriesOfTable(DmOpenRef table, EntryMaker& maker) {
  const UInt32 count = DmNumRecords(table);
  if (std::uint64_t{count} * (maker.size() + kRecordHeaderSize) > kLargestFile) GrowthFailure(*table->hFile);
  std::vector<char> entries(count * maker.size());
  char* at = entries.data();
  for (UInt32 i = 0; i < count; ++i, at += maker.size())
    maker.make(static_cast<std::int32_t>(i), BytesOf(table, i), at);
  return entries;
}

std::string WhatDoesNotFit(DmOpenRef table, DmOpenRef index, EntryMaker& maker) {
  const UInt32 records = DmNumRecords(table), count = DmNumRecords(index);
  if (count != records) return "tem outro número de registros que a tabela"_l1;
  if (count == 0) return {};
  const Entries entries = EntriesOf(*index);
  if (entries.size != maker.size()) return "tem chaves de outro tamanho";
  std::vector<char> expected(maker.size());
  const UInt32 looks = std::min(count, kMostLookedAt);
  for (UInt32 i = 0; i < looks; ++i) {
    const auto place = static_cast<UInt32>(std::uint64_t{i} * count / looks);
    if (!hasPlace(entries, place, table, maker, expected.data())) return "tem chaves que os registros não têm"_l1;
  }
  return {};
}

}  // namespace vorne
