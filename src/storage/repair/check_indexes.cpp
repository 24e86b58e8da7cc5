#include "storage/repair/check_indexes.h"

#include "storage/format/entry_maker.h"
#include "storage/format/entry_order.h"
#include "storage/format/keys.h"
#include "storage/repair/check_sizes.h"

namespace vorne {

namespace {

constexpr char kNoMatch[] = "the index does not match its table: ";

FileBytes Block(const DatabaseFiles& files, const DatabaseState& state) {
  const FileBytes bytes = files.data.bytes();
  const std::size_t begin = std::min<std::size_t>(kHeaderSize, bytes.size());
  return bytes.subspan(begin, std::min<std::size_t>(state.records.appInfoLen, bytes.size() - begin));
}
FileBytes Block(const CheckedDatabase& database) {
  return Block(database.files, database.state);
}

std::span<const char> RecordBytes(const CheckedDatabase& database, std::size_t index) {
  const std::uint32_t place = database.state.records.places[index];
  const FileBytes bytes = database.files.data.bytes();
  return bytes.subspan(place + kRecordHeaderSize, SavedHeader(bytes, database.state.records, place).RecordLen);
}

std::size_t Count(const CheckedDatabase& database) {
  return database.state.records.places.size();
}

// What an index says about itself and its table, and the entries that the table's records ought to have.
struct Both {
  Both(const CheckedDatabase& tableFile, const CheckedDatabase& indexFile)
      : table(ParseTableBlock(Block(tableFile))), index(ParseIndexBlock(Block(indexFile))) {
    if (table && index) maker.emplace(table->fields, index->keyFields);
  }
  bool hasKey() const { return maker && maker->size() != 0; }

  std::optional<TableDescription> table;
  std::optional<IndexDescription> index;
  std::optional<EntryMaker> maker;
};

// Looks at the entries one after the other.
class Comparison {
 public:
  Comparison(const CheckedDatabase& table, const CheckedDatabase& index, EntryMaker& maker)
      : table_(table), index_(index), maker_(maker), expected_(maker.size()), seen_(Count(table)) {}

  /// What is wrong with an entry; empty when it is as it would be made.
  std::string fault(std::size_t place) {
    const std::span<const char> entry = RecordBytes(index_, place);
    if (entry.size() != expected_.size())
      return Message("its entry has %zu bytes instead of %zu", entry.size(), expected_.size());
    const auto record = Load<std::uint32_t>(entry.data());
    if (record >= seen_.size()) return Message("its entry names record %u of %zu", record + 1, seen_.size());
    if (seen_[record]) return Message("record %u has two entries", record + 1);
    seen_[record] = true;
    maker_.make(static_cast<std::int32_t>(record), RecordBytes(table_, record), expected_.data());
    if (std::memcmp(expected_.data(), entry.data(), entry.size()) != 0)
      return Message("record %u has another key", record + 1);
    if (place > 0 && std::memcmp(previous_ + kEntryKeyAt, entry.data() + kEntryKeyAt, entry.size() - kEntryKeyAt) > 0)
      return Message("the entry of record %u is out of order", record + 1);
    previous_ = entry.data();
    return {};
  }

 private:
  const CheckedDatabase &table_, &index_;
  EntryMaker& maker_;
  std::vector<char> expected_;
  std::vector<bool> seen_;
  const char* previous_ = nullptr;
};

// The block with the length that keys of the table's fields have, and without the mark.
std::vector<char> FreshBlock(const CheckedDatabase& indexFile, const Both& both) {
  const auto length = static_cast<std::int32_t>(both.maker->size() - kEntryKeyAt);
  if (both.index->keyLength != length) {
    IndexDescription index = *both.index;
    index.keyLength = length;
    const std::string block = IndexBlock(*both.table, index);
    return {block.begin(), block.end()};
  }
  const FileBytes old = Block(indexFile);
  std::vector<char> block(old.begin(), old.end());
  Store(block.data() + kEntriesWaitAt, std::uint32_t{0});
  return block;
}

}  // namespace

std::optional<IndexDescription> ToldIndex(const DatabaseFiles& files, const DatabaseState& state) {
  if (state.kind != kIndexDatabase) return {};
  return ParseIndexBlock(Block(files, state));
}

bool IsTable(const CheckedDatabase& database) {
  return database.state.kind == kVariableDatabase && ParseTableBlock(Block(database));
}

void CheckIndex(const CheckedDatabase& table, const CheckedDatabase& index, Findings& findings) {
  Both both(table, index);
  // Tables leave such an index alone. It may be the table's description that is wrong, so nothing is dropped here.
  if (!both.hasKey())
    return findings.note("the index is not in use: its table has no such key fields; drop it and make it anew");
  if (both.index->entriesWait)
    return findings.damage(std::string(kNoMatch) + "the program ended before it had all changes");
  if (Count(index) != Count(table))
    return findings.damage(Message("%sit has %zu entries for %zu records", kNoMatch, Count(index), Count(table)));
  if (both.index->keyLength + kEntryKeyAt != both.maker->size())
    return findings.damage(Message("%sit says %d bytes for keys of %zu", kNoMatch, both.index->keyLength,
                                   both.maker->size() - kEntryKeyAt));
  Comparison comparison(table, index, *both.maker);
  for (std::size_t place = 0; place < Count(index); ++place) {
    const std::string fault = comparison.fault(place);
    if (!fault.empty()) return findings.damage(kNoMatch + fault, static_cast<std::int64_t>(place) + 1);
  }
}

std::vector<char> FreshIndex(const CheckedDatabase& table, const CheckedDatabase& index) {
  Both both(table, index);
  if (!both.hasKey()) return {};
  const std::size_t size = both.maker->size(), stride = size + kRecordHeaderSize;
  const std::vector<char> block = FreshBlock(index, both);
  const std::uint64_t begin = kHeaderSize + block.size(), used = begin + Count(table) * std::uint64_t{stride};
  if (used > kLargestFile) return {};
  std::vector<char> entries(Count(table) * size), file(RepairedSize(used, index.files.data.length));
  for (std::size_t i = 0; i < Count(table); ++i)
    both.maker->make(static_cast<std::int32_t>(i), RecordBytes(table, i), entries.data() + i * size);
  const auto count = static_cast<std::uint32_t>(Count(table));
  Store(file.data(), FileHeader{2, kIndexDatabase, 0, static_cast<std::uint32_t>(block.size()), count,
                                static_cast<std::uint32_t>(file.size()), static_cast<std::uint32_t>(used)});
  std::copy(block.begin(), block.end(), file.begin() + kHeaderSize);
  const auto length = static_cast<std::uint16_t>(size);
  char* to = file.data() + begin;
  for (const std::uint32_t number : KeyOrder({entries.data(), size, size, count})) {
    Store(to, RecordHeader{length, length, 0, kMark, kMark});
    std::memcpy(to + kRecordHeaderSize, entries.data() + number * size, size);
    to += stride;
  }
  return file;
}

}  // namespace vorne
