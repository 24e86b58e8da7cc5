// An index holds nothing that its table does not: whatever is wrong with it, it is made anew as a whole. What cannot be
// made anew is its key, so that is looked for in the entries when the block does not tell it.
#include "storage/repair/check_indexes.h"

#include <algorithm>

#include "storage/format/entry_maker.h"
#include "storage/format/entry_order.h"
#include "storage/format/index_evidence.h"
#include "storage/format/keys.h"
#include "storage/format/record_bytes.h"
#include "storage/repair/check_sizes.h"

namespace vorne {

namespace {

constexpr char kNoMatch[] = "the index does not match its table: ";

// Looks at the entries one after the other.
class Comparison {
 public:
  Comparison(const CheckedDatabase& table, const CheckedDatabase& index, EntryMaker& maker)
      : table_(table), index_(index), maker_(maker), expected_(maker.size()), seen_(table.count()) {}

  /// What is wrong with an entry; empty when it is as it would be made.
  std::string fault(std::size_t place) {
    const std::span<const char> entry = index_.record(place);
    if (entry.size() != expected_.size())
      return Message("its entry has %zu bytes instead of %zu", entry.size(), expected_.size());
    const auto record = Load<std::uint32_t>(entry.data());
    if (record >= seen_.size()) return Message("its entry names record %u of %zu", record + 1, seen_.size());
    if (seen_[record]) return Message("record %u has two entries", record + 1);
    seen_[record] = true;
    maker_.make(static_cast<std::int32_t>(record), table_.record(record), expected_.data());
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
  // Records of the table that an entry has named.
  std::vector<bool> seen_;
  // The entry before: null at the first.
  const char* previous_ = nullptr;
};

// Puts fields one behind the other until they make the keys of some entries.
class KeySearch {
 public:
  KeySearch(const CheckedTable& table, const CheckedDatabase& index) : fields_(table.description.fields) {
    const std::size_t count = std::min(kSamples, index.count());
    for (std::size_t i = 0; i < count; ++i) sample(table, index.record(i * index.count() / count));
  }

  /// All keys that the samples allow, two at most.
  const std::vector<std::vector<IDX_Indexes>>& run() {
    if (!samples_.empty() && sound_) extend(0);
    return found_;
  }

 private:
  // Samples from all over the index throw out wrong fields quickly; what is left is held against every entry later.
  // Where many fields hold the same, blanks most of all, nearly every order of them fits: the tries are bounded.
  static constexpr std::size_t kSamples = 64;
  static constexpr int kMostSteps = 100000;
  struct Sample {
    std::string key;
    std::vector<std::string> parts;  // of each field, empty for one that cannot be a key
  };

  void sample(const CheckedTable& table, std::span<const char> entry) {
    const std::uint32_t record = entry.size() <= kEntryKeyAt ? ~0u : Load<std::uint32_t>(entry.data());
    sound_ = sound_ && record < table.database.count();
    if (!sound_) return;
    Sample made{{entry.data() + kEntryKeyAt, entry.size() - kEntryKeyAt}, {}};
    const ControlFieldTBL& last = fields_.back();
    std::vector<char> buffer(static_cast<std::size_t>(last.iOffset + BufferRoom(last)));
    LoadFields(fields_, table.database.record(record), bswapnum != 0, buffer.data());
    for (std::uint32_t field = 1; field < fields_.size(); ++field) {
      const IDX_Indexes part{field};
      std::string bytes(static_cast<std::size_t>(KeyRoom(fields_, {&part, 1})), ' ');
      if (!bytes.empty()) MakeKey(fields_, {&part, 1}, buffer.data(), false, bytes.data());
      made.parts.push_back(std::move(bytes));
    }
    sound_ = samples_.empty() || samples_[0].key.size() == made.key.size();
    samples_.push_back(std::move(made));
  }

  void extend(std::size_t at) {
    if (at == samples_[0].key.size()) return found_.push_back(key_);
    // A second key means that the entries do not tell which one it was: no third one is looked for.
    for (std::uint32_t field = 1; field < fields_.size() && found_.size() < 2; ++field) {
      const std::size_t room = samples_[0].parts[field - 1].size();
      if (room == 0 || ++steps_ > kMostSteps || !fits(field, at)) continue;
      key_.push_back({field});
      extend(at + room);
      key_.pop_back();
    }
  }

  bool fits(std::uint32_t field, std::size_t at) const {
    return std::all_of(samples_.begin(), samples_.end(), [&](const Sample& sample) {
      return std::string_view(sample.key).substr(at).starts_with(sample.parts[field - 1]);
    });
  }

  Fields fields_;
  std::vector<Sample> samples_;
  std::vector<IDX_Indexes> key_;
  std::vector<std::vector<IDX_Indexes>> found_;
  int steps_ = 0;
  bool sound_ = true;
};

bool isSameKey(KeyFields a, KeyFields b) {
  const auto same = [](IDX_Indexes one, IDX_Indexes other) { return one.KeyField == other.KeyField; };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), same);
}

constexpr std::uint32_t kLooks = 1024;

IndexEvidence evidenceOf(const CheckedTable& table, const CheckedDatabase& index, std::int32_t keyLength) {
  const CheckedDatabase& records = table.database;
  return {static_cast<std::uint32_t>(index.count()), keyLength, table.description.fields,
          [&](std::uint32_t place) { return index.record(place); },
          [&](std::uint32_t at) { return at < records.count() ? records.record(at) : std::span<const char>(); }};
}

// The block with the table's name, the length that its keys have, and without the mark.
std::string freshBlock(const CheckedTable& table, const CheckedDatabase& index, IndexDescription told) {
  const FileBytes old = SavedBlock(index.files, index.state.records);
  const std::optional<IndexDescription> before = ParseIndexBlock(old);
  if (before && isSameKey(NumberedFromOne(before->keyFields), told.keyFields)) told.keyFields = before->keyFields;
  // A block that is right stays as it stands, with whatever more the program that made it wrote there.
  const bool keeps = before && before->keyLength == told.keyLength && before->table == told.table &&
                     isSameKey(before->keyFields, told.keyFields);
  if (!keeps) return IndexBlock(table.description, told);
  std::string block(old.begin(), old.end());
  Store(block.data() + kEntriesWaitAt, std::uint32_t{0});
  return block;
}

}  // namespace

std::optional<IndexDescription> ToldIndex(const DatabaseFiles& files, const DatabaseState& state) {
  if (state.kind != kIndexDatabase) return {};
  return ParseIndexBlock(SavedBlock(files, state.records));
}

std::vector<IDX_Indexes> KeyByEntries(const CheckedTable& table, const CheckedDatabase& index,
                                      const IndexDescription& told) {
  return CountsFromZero(evidenceOf(table, index, told.keyLength), told.keyFields) ? NumberedFromOne(told.keyFields)
                                                                                  : told.keyFields;
}

bool IsIndexOf(const CheckedTable& table, const CheckedDatabase& index, const IndexDescription& told) {
  const auto key = KeyByEntries(table, index, told);
  const std::uint32_t fitting = EntriesThatFit(evidenceOf(table, index, told.keyLength), key, kLooks);
  return KeyRoom(table.description.fields, key) != 0 && fitting * 2 >= std::min<std::size_t>(kLooks, index.count());
}

void CheckIndex(const CheckedTable& table, const CheckedDatabase& index, const IndexDescription& told,
                Findings& findings) {
  EntryMaker maker(table.description.fields, told.keyFields);
  if (maker.size() == 0) return findings.damage("its table has no such key fields");
  // A program that opens it makes it anew for this mark alone, whatever its entries are like.
  if (told.entriesWait) return findings.damage(std::string(kNoMatch) + "the program ended before it had all changes");
  const std::size_t records = table.database.count();
  if (index.count() != records)
    return findings.damage(Message("%sit has %zu entries for %zu records", kNoMatch, index.count(), records));
  if (told.keyLength + kEntryKeyAt != maker.size())
    return findings.damage(
        Message("%sit says %d bytes for keys of %zu", kNoMatch, told.keyLength, maker.size() - kEntryKeyAt));
  // The first fault is enough: the index is made anew as a whole.
  Comparison comparison(table.database, index, maker);
  for (std::size_t place = 0; place < index.count(); ++place) {
    const std::string fault = comparison.fault(place);
    if (!fault.empty()) return findings.damage(kNoMatch + fault, static_cast<std::int64_t>(place) + 1);
  }
}

std::optional<std::vector<IDX_Indexes>> KeyOfEntries(const CheckedTable& table, const CheckedDatabase& index) {
  if (index.count() == 0 || index.count() != table.database.count()) return {};
  KeySearch search(table, index);
  const auto& found = search.run();
  if (found.size() != 1) return {};
  IndexDescription told;
  told.keyFields = found[0];
  told.keyLength = KeyRoom(table.description.fields, told.keyFields);
  Findings findings("");
  CheckIndex(table, index, told, findings);
  if (!findings.sound()) return {};
  return found[0];
}

bool HoldsEntries(const CheckedDatabase& index) {
  std::vector<bool> seen(index.count());
  std::size_t good = 0;
  for (std::size_t i = 0; i < index.count(); ++i) {
    const std::span<const char> entry = index.record(i);
    const std::uint32_t record = entry.size() <= kEntryKeyAt ? ~0u : Load<std::uint32_t>(entry.data());
    if (record >= seen.size() || seen[record]) continue;
    seen[record] = true;
    ++good;
  }
  // Most of them name a record each, and no two the same: what else a file of equal records would hold does not do
  // that.
  return good * 2 > index.count();
}

std::vector<char> FreshIndex(const CheckedTable& table, const CheckedDatabase& index, IndexDescription told) {
  EntryMaker maker(table.description.fields, told.keyFields);
  if (maker.size() == 0) return {};
  const std::size_t size = maker.size(), stride = size + kRecordHeaderSize, records = table.database.count();
  // The table may have another name than when the index was made.
  told.table = table.description.name;
  told.keyLength = static_cast<std::int32_t>(size - kEntryKeyAt);
  const std::string block = freshBlock(table, index, told);
  const std::uint64_t begin = kHeaderSize + block.size(), used = begin + records * std::uint64_t{stride};
  if (used > kLargestFile) return {};
  std::vector<char> entries(records * size), file(RepairedSize(used, index.files.data.length));
  for (std::size_t i = 0; i < records; ++i)
    maker.make(static_cast<std::int32_t>(i), table.database.record(i), entries.data() + i * size);
  const auto count = static_cast<std::uint32_t>(records);
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
