// Everything is read inside ChangeWatch::consistently, which calls again when a change came in between: what a first
// try has gathered is cleared at the beginning of the next.
#include "storage/reading/table_reader.h"

#include <algorithm>
#include <cstring>
#include <numeric>
#include <utility>

#include "storage/format/entry_order.h"
#include "storage/format/keys.h"
#include "storage/format/names.h"
#include "storage/format/record_bytes.h"
#include "storage/reading/change_watch.h"
#include "storage/reading/database_reader.h"
#include "storage/reading/index_key.h"

namespace vorne {

namespace {

constexpr std::size_t kRowsBytes = 65536;  // of records and memo texts that are read at once
constexpr std::chrono::microseconds kPause{200};
constexpr std::size_t kBytesInAMicrosecond = 500;  // that are surely read

CellType cellType(FType type) {
  constexpr CellType kTypes[] = {CellType::kNumber, CellType::kDate, CellType::kText, CellType::kLogical,
                                 CellType::kMemo,   CellType::kNone, CellType::kNone};
  // The type was held to this range when the description was read.
  return kTypes[type];
}

bool isSameField(const ControlFieldTBL& a, const ControlFieldTBL& b) {
  return std::strcmp(a.FieldName, b.FieldName) == 0 && a.FieldType == b.FieldType && a.FieldLen == b.FieldLen &&
         a.FieldDecLen == b.FieldDecLen;
}

struct IndexFile {
  DatabaseReader database;
  std::vector<IDX_Indexes> key;   // numbered from 1
  std::vector<IDX_Indexes> told;  // as its block numbers them
  std::size_t keyLength;
  bool isTrusted = false;  // was looked through
};

// An entry that is written over with another one names that one's record twice, and its own is missing.
bool namesEachOnce(KeyList& list, std::uint32_t records) {
  return !NamesARecordTwice(
      {list.bytes.data(), list.entrySize, list.entrySize, static_cast<std::uint32_t>(list.count())}, records);
}

bool namesEachOnce(DatabaseReader& entries, std::uint32_t records) {
  std::vector<bool> isNamed(records);
  for (std::uint32_t i = 0; i < entries.count(); ++i) {
    const std::span<const char> entry = entries.record(i);
    const std::uint32_t record = entry.size() < kEntryKeyAt ? records : Load<std::uint32_t>(entry.data());
    if (record >= records || isNamed[record]) return false;
    isNamed[record] = true;
  }
  return true;
}

// The entries from `place` on in `direction` that have one key, as many of them as are looked at.
template <class KeyAt>
KeyList runOf(KeyAt& keyAt, std::uint32_t count, std::size_t entrySize, std::uint32_t place, int direction) {
  KeyList run{entrySize, {}};
  // The place before the first entry wraps around, to none.
  for (; place < count && run.count() < kMostBeside; place += static_cast<std::uint32_t>(direction)) {
    const std::string_view key = keyAt(place);
    if (run.count() > 0 && run.bytes.compare(kEntryKeyAt, key.size(), key) != 0) break;
    run.bytes.append(key.data() - kEntryKeyAt, entrySize);
  }
  return run;
}

}  // namespace

struct TableReader::State {
  /// @param path ends with "/DB/"
  explicit State(const std::string& place) : path(place), watch(place.substr(0, place.size() - 1)) {}

  void open(const Dictionary& dictionary, std::string_view wanted);
  void addIndex(const std::string& index, const IndexDescription& description);
  void checkDescription();
  void renew();
  bool fits(IndexFile& index);
  std::optional<KeyList> entriesOf(IndexFile& index, const KeyRanges& ranges);
  bool haveTheirKeys(const IndexFile& index, const KeyList& list);
  bool haveTheirKeysBeside(const IndexFile& index, const KeyList& beside);
  void addRow(std::uint32_t position, bool withMemos, StoredRows& rows);
  std::string memoText(std::uint32_t reference);
  KeyList keysOfRecords(TableReader& reader, const IndexFile& index);

  std::string path, name;
  ChangeWatch watch;
  std::vector<DatabaseReader> table;  // one, once it is found
  std::vector<DatabaseReader> memo;   // one, or none
  std::vector<ControlFieldTBL> described;
  std::vector<TableField> fields;
  std::vector<TableIndex> indexes;
  std::vector<IndexFile> indexFiles;  // of `indexes`
  std::vector<char> buffer;
  std::size_t memoFields = 0;
};

// ------------------------------------------------------------------------------------------------------- opening

void TableReader::State::open(const Dictionary& dictionary, std::string_view wanted) {
  const StoredDatabase* found = dictionary.find(wanted, kTypeData);
  if (found == nullptr)
    throw ReadFailure(ReadFailure::kMissing,
                      "there is no table \"" + std::string(wanted) + "\" in " + path + "; `tellira db list` shows all");
  name = found->name;
  table.clear();
  table.emplace_back(path + name, kVariableDatabase);
  checkDescription();
  memo.clear();
  if (const StoredDatabase* texts = dictionary.find(name + kMemoSuffix, kTypeMemo))
    memo.emplace_back(path + texts->name, kVariableDatabase);
  indexes.clear();
  indexFiles.clear();
  // One that cannot be read belongs to no table: this one can do without.
  for (const StoredDatabase* index : dictionary.indexesOf(name)) addIndex(index->name, *index->index);
}

void TableReader::State::addIndex(const std::string& index, const IndexDescription& description) {
  DatabaseReader database(path + index, kIndexDatabase);
  const std::vector<IDX_Indexes> key = KeyFromOne(table.front(), database, described, description);
  // An index that was made for other fields is passed over: the table can be read without it.
  if (KeyRoom(described, key) != description.keyLength) return;
  TableIndex added{index, {}};
  for (const IDX_Indexes& part : key) added.fields.push_back(part.KeyField - 1);
  if (std::any_of(added.fields.begin(), added.fields.end(), [&](std::uint32_t f) { return f >= fields.size(); }))
    return;
  indexes.push_back(std::move(added));
  indexFiles.push_back(
      {std::move(database), key, description.keyFields, static_cast<std::size_t>(description.keyLength)});
}

void TableReader::State::checkDescription() {
  const std::optional<TableDescription> description = ParseTableBlock(table.front().info());
  if (!description || description->fields.size() < 2)
    throw ReadFailure(ReadFailure::kDamaged,
                      "the description of " + name + " cannot be read; `tellira db check` tells more");
  if (!described.empty()) {
    if (!std::equal(described.begin(), described.end(), description->fields.begin(), description->fields.end(),
                    isSameField))
      throw ReadFailure(ReadFailure::kChanged, name + " was made anew with other fields; open it again");
    return;
  }
  described = description->fields;
  fields.clear();
  for (const ControlFieldTBL& field : Fields(described).first(described.size() - 1))
    fields.push_back({field.FieldName, cellType(field.FieldType), field.FieldLen, field.FieldDecLen});
  memoFields = static_cast<std::size_t>(
      std::count_if(fields.begin(), fields.end(), [](const TableField& f) { return f.type == CellType::kMemo; }));
  buffer.resize(static_cast<std::size_t>(described.back().iOffset + BufferRoom(described.back())));
}

void TableReader::State::renew() {
  table.front().renew();
  for (DatabaseReader& database : memo) database.renew();
  for (IndexFile& index : indexFiles) index.database.renew();
  checkDescription();
}

// ------------------------------------------------------------------------------------------------------- records

void StoredRows::clear() {
  bytes.clear();
  places.clear();
  memos.clear();
  taken = 0;
}

// A field names its memo by the record's number; one that is not there is empty, as for everybody. Where none of them
// can be had that would be taken for what the table holds.
std::string TableReader::State::memoText(std::uint32_t reference) {
  if (reference == 0) return {};
  if (memo.empty())
    throw ReadFailure(ReadFailure::kDamaged,
                      "the catalogue does not name the memo texts of " + name + "; `tellira db check` tells more");
  if (reference > memo.front().count()) return {};
  const std::span<const char> text = memo.front().record(reference - 1);
  return {text.data(), ::strnlen(text.data(), text.size())};
}

void TableReader::State::addRow(std::uint32_t position, bool withMemos, StoredRows& rows) {
  const std::span<const char> record = table.front().record(position);
  rows.places.push_back({position, rows.bytes.size(), record.size(), rows.memos.size()});
  rows.bytes.append(record.data(), record.size());
  if (!withMemos) return;
  LoadFields(described, record, true, buffer.data());
  for (std::size_t i = 0; i < fields.size(); ++i)
    if (fields[i].type == CellType::kMemo) rows.memos.push_back(memoText(MemoIn(described[i], buffer.data())));
}

void TableReader::read(std::span<const std::uint32_t> positions, bool memos, StoredRows& rows) {
  const bool withMemos = memos && state_->memoFields > 0;
  state_->watch.consistently(kPause, [&](bool changed, int attempt) {
    if (changed) state_->renew();
    rows.clear();
    const std::uint32_t count = state_->table.front().count();
    // Less at every attempt: the shorter a reading is, the likelier it fits between two changes.
    const std::size_t enough = kRowsBytes >> std::min(2 * attempt, 16);
    std::size_t size = 0;
    for (const std::uint32_t position : positions) {
      if (position < count) {
        state_->addRow(position, withMemos, rows);
        size = rows.bytes.size();
        for (const std::string& memo : rows.memos) size += memo.size();
      }
      ++rows.taken;
      if (size >= enough) break;
    }
  });
}

std::uint32_t TableReader::count() {
  std::uint32_t count = 0;
  state_->watch.consistently(kPause, [&](bool changed, int) {
    if (changed) state_->renew();
    count = state_->table.front().count();
  });
  return count;
}

// ------------------------------------------------------------------------------------------------------- indexes

// One that was made anew with another key, or that is behind its table, or that a foreign program changed, does not.
bool TableReader::State::fits(IndexFile& index) {
  try {
    const std::optional<IndexDescription> now = ParseIndexBlock(index.database.info());
    // Its name may have been given to another table's index.
    if (!now || FoldedName(now->table) != FoldedName(name)) return false;
    if (now->entriesWait || static_cast<std::size_t>(now->keyLength) != index.keyLength) return false;
    const auto isSamePart = [](IDX_Indexes a, IDX_Indexes b) { return a.KeyField == b.KeyField; };
    if (!std::equal(now->keyFields.begin(), now->keyFields.end(), index.told.begin(), index.told.end(), isSamePart))
      return false;
    const std::uint32_t count = index.database.count();
    if (count != table.front().count()) return false;
    if (index.isTrusted) return true;
    // Of a large one the order is looked at where it is read: all of its keys would take longer than most questions.
    if (count <= kMostCounted && !entriesOf(index, KeyRanges(1))) return false;
    return index.isTrusted = namesEachOnce(index.database, count);
  } catch (const ReadFailure&) {
    return false;
  }
}

// None when one of them cannot be read, or they, or those beside where a search ended, are out of order or name a
// record twice: an entry written over with a distant one hides its record's key, and leads searches astray that come
// by; one written over with a near one stands in order.
std::optional<KeyList> TableReader::State::entriesOf(IndexFile& index, const KeyRanges& ranges) try {
  constexpr std::uint32_t kBeside = 2;
  KeyList list{kEntryKeyAt + index.keyLength, {}};
  const auto keyAt = [&](std::uint32_t i) {
    const std::span<const char> entry = index.database.record(i);
    if (entry.size() != list.entrySize) throw ReadFailure(ReadFailure::kDamaged, "an entry has another length");
    return std::string_view(entry.data() + kEntryKeyAt, index.keyLength);
  };
  const std::uint32_t count = index.database.count(), records = table.front().count();
  std::string before;
  KeyList beside{list.entrySize, {}};
  for (const auto& [from, to] : PositionsOf(ranges, count, keyAt)) {
    for (const std::uint32_t i : {from - 1, to})
      if (i < count) beside.bytes.append(keyAt(i).data() - kEntryKeyAt, list.entrySize);
    before.clear();
    for (std::uint32_t i = from - std::min(from, kBeside); i < std::min(count, to + kBeside); ++i) {
      const std::string_view key = keyAt(i);
      if (key < before) return std::nullopt;
      before = key;
      if (i >= from && i < to) list.bytes.append(key.data() - kEntryKeyAt, list.entrySize);
    }
    KeyList below = runOf(keyAt, count, list.entrySize, from - 1, -1);
    KeyList above = runOf(keyAt, count, list.entrySize, to, 1);
    if (!namesEachOnce(below, records) || !namesEachOnce(above, records)) return std::nullopt;
  }
  if (!haveTheirKeysBeside(index, beside)) return std::nullopt;
  return list;
} catch (const ReadFailure&) {
  return std::nullopt;
}

// An entry whose record number is wrong leads to another record. All of a few are looked at, and some of many.
bool TableReader::State::haveTheirKeys(const IndexFile& index, const KeyList& list) {
  constexpr std::size_t kMostLookedAt = 1024;
  const std::size_t count = list.count(), looks = std::min(count, kMostLookedAt);
  std::string key(index.keyLength, '\0');
  for (std::size_t i = 0; i < looks; ++i) {
    const std::size_t entry = i * count / looks;
    LoadFields(described, table.front().record(list.position(entry)), true, buffer.data());
    MakeKey(described, index.key, buffer.data(), false, key.data());
    if (list.bytes.compare(entry * list.entrySize + kEntryKeyAt, index.keyLength, key) != 0) return false;
  }
  return true;
}

// A key that is wrong and still in order hides its record's, and stands right beside where the search for that ends.
bool TableReader::State::haveTheirKeysBeside(const IndexFile& index, const KeyList& beside) try {
  return haveTheirKeys(index, beside);
} catch (const ReadFailure&) {
  // A record that cannot be read and was not asked for is no reason to refuse the others.
  return true;
}

KeyList TableReader::State::keysOfRecords(TableReader& reader, const IndexFile& index) {
  KeyList list{kEntryKeyAt + index.keyLength, {}};
  std::vector<std::uint32_t> positions(reader.count());
  std::iota(positions.begin(), positions.end(), 0U);
  StoredRows rows;
  std::string entry(list.entrySize, '\0');
  for (std::span<const std::uint32_t> rest(positions); !rest.empty(); rest = rest.subspan(rows.taken)) {
    reader.read(rest, false, rows);
    for (const StoredRows::Place& place : rows.places) {
      LoadFields(described, {rows.bytes.data() + place.offset, place.size}, true, buffer.data());
      Store(entry.data(), place.position);
      MakeKey(described, index.key, buffer.data(), false, entry.data() + kEntryKeyAt);
      list.bytes += entry;
    }
  }
  return list;
}

namespace {

std::string_view keyOf(const KeyList& list, std::size_t entry) {
  return std::string_view(list.bytes).substr(entry * list.entrySize + kEntryKeyAt, list.entrySize - kEntryKeyAt);
}

KeyList sorted(const KeyList& list) {
  std::vector<std::uint32_t> order(list.count());
  std::iota(order.begin(), order.end(), 0U);
  std::stable_sort(order.begin(), order.end(),
                   [&](std::uint32_t a, std::uint32_t b) { return keyOf(list, a) < keyOf(list, b); });
  KeyList result{list.entrySize, {}};
  result.bytes.reserve(list.bytes.size());
  for (const std::uint32_t entry : order) result.bytes.append(list.bytes, entry * list.entrySize, list.entrySize);
  return result;
}

KeyList within(const KeyList& list, const KeyRanges& ranges) {
  KeyList found{list.entrySize, {}};
  const auto keyAt = [&list](std::uint32_t i) { return keyOf(list, i); };
  for (const auto& [from, to] : PositionsOf(ranges, static_cast<std::uint32_t>(list.count()), keyAt))
    found.bytes.append(list.bytes, from * list.entrySize, (to - from) * list.entrySize);
  return found;
}

}  // namespace

KeyList TableReader::find(std::size_t number, const KeyRanges& ranges, std::optional<KeyList>& made) {
  if (made) return within(*made, ranges);
  IndexFile& index = state_->indexFiles.at(number);
  std::optional<KeyList> list;
  std::chrono::microseconds pause = kPause;
  state_->watch.consistently(pause, [&](bool changed, int) {
    if (changed) state_->renew();
    list.reset();
    if (!state_->fits(index)) return;
    list = state_->entriesOf(index, ranges);
    if (!list || !namesEachOnce(*list, state_->table.front().count()) || !state_->haveTheirKeys(index, *list))
      return list.reset();
    pause = kPause + std::chrono::microseconds(list->bytes.size() / kBytesInAMicrosecond);
  });
  // Without a list the index does not fit: its keys are made of the records once, and kept for the caller's next
  // questions.
  if (list) return *std::move(list);
  made = sorted(state_->keysOfRecords(*this, index));
  return within(*made, ranges);
}

// ----------------------------------------------------------------------------------------------------- the reader

TableReader::TableReader(Dictionary& dictionary, std::string_view name)
    : state_(std::make_unique<State>(dictionary.path())) {
  try {
    state_->watch.consistently(kPause, [&](bool, int attempt) {
      if (attempt > 0) dictionary.forget();
      dictionary.renew(Dictionary::Heads::kOfIndexes);
      state_->described.clear();
      state_->open(dictionary, name);
    });
  } catch (const ReadFailure&) {
    dictionary.forget();
    throw;
  }
}

TableReader::TableReader(const std::string& directory, std::string_view name)
    : TableReader(*std::make_unique<Dictionary>(directory), name) {}

TableReader::~TableReader() = default;

const std::string& TableReader::name() const {
  return state_->name;
}

const std::vector<TableField>& TableReader::fields() const {
  return state_->fields;
}

const std::vector<TableIndex>& TableReader::indexes() const {
  return state_->indexes;
}

void TableReader::rest() {
  state_->watch.rest();
  state_->table.front().rest();
  for (DatabaseReader& database : state_->memo) database.rest();
  for (IndexFile& index : state_->indexFiles) index.database.rest();
}

std::vector<std::string> TableNames(const std::string& directory) {
  ChangeWatch watch(directory + kDataDirectory);
  std::vector<std::string> names;
  watch.consistently(kPause, [&](bool, int) {
    names.clear();
    ReadFile catalog(directory + kDataDirectory + "/" + kCatalogName);
    for (const DatabaseHdrType& entry : ReadCatalog(catalog))
      if (entry.type == kTypeData) names.push_back(NameOf(entry));
  });
  return names;
}

// -------------------------------------------------------------------------------------------------------- one row

Row::Row(const TableReader& table) : table_(table.state_.get()), buffer_(table.state_->buffer.size()) {}

void Row::load(const StoredRows& rows, std::size_t place) {
  const StoredRows::Place& at = rows.places[place];
  LoadFields(table_->described, {rows.bytes.data() + at.offset, at.size}, true, buffer_.data());
  rows_ = &rows;
  firstMemo_ = at.firstMemo;
  position_ = at.position;
}

bool Row::isDeleted() const {
  return IsMarkedDeleted(table_->described, buffer_.data());
}

double Row::number(std::size_t field) const {
  return NumberIn(table_->described[field], buffer_.data());
}

std::string Row::date(std::size_t field) const {
  const std::string digits = DateKey(number(field));
  if (digits == kNoDateKey || digits == kBeyondDatesKey) return {};
  return digits.substr(0, 4) + '-' + digits.substr(4, 2) + '-' + digits.substr(6);
}

std::string_view Row::text(std::size_t field) const {
  return TextIn(table_->described[field], buffer_.data());
}

bool Row::logical(std::size_t field) const {
  return LogicalIn(table_->described[field], buffer_.data());
}

std::string_view Row::memo(std::size_t field) const {
  const auto before = std::count_if(table_->fields.begin(), table_->fields.begin() + static_cast<std::ptrdiff_t>(field),
                                    [](const TableField& f) { return f.type == CellType::kMemo; });
  const std::size_t number = firstMemo_ + static_cast<std::size_t>(before);
  return rows_ != nullptr && number < rows_->memos.size() ? std::string_view(rows_->memos[number]) : std::string_view();
}

}  // namespace vorne
