// The catalogue tells names and types; which table an index belongs to stands in the index's own file, so the head of
// each is read, and remembered as long as its entry is the same.
#include "storage/reading/dictionary.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "storage/files/system.h"
#include "storage/reading/database_reader.h"
#include "storage/reading/index_key.h"

namespace vorne {

namespace {

constexpr std::size_t kLongestBlock = 1 << 20;

bool isSameEntry(const DatabaseHdrType& a, const DatabaseHdrType& b) {
  return std::memcmp(&a, &b, sizeof a) == 0;
}

// True where the head tells nothing that a list of tables needs.
bool isTableType(std::uint32_t type) {
  return type == kTypeData || type == kTypeMemo;
}

std::uint64_t sizeOf(const std::string& path) {
  struct stat found;
  return fileSystem.stat(path.c_str(), &found) == 0 ? static_cast<std::uint64_t>(found.st_size) : 0;
}

}  // namespace

// An index whose block says nothing belongs to no table. False when there is no such file.
bool Dictionary::readHead(StoredDatabase& database) const {
  ReadFile file(path_ + database.name);
  try {
    database.dataBytes = file.size();
    database.header = file.header();
    if (database.header.Type == kVariableDatabase)
      database.offsetsBytes = sizeOf(path_ + database.name + kOffsetsSuffix);
    const bool isStrange = KindOfType(database.entry.type) != database.header.Type;
    if (database.entry.type != kTypeIndex && !isStrange) return true;
    const std::size_t length = std::min<std::size_t>(database.header.AppInfoLen, kLongestBlock);
    const std::span<const char> block(file.at(kHeaderSize, length), length);
    // Programs that open it put a damaged type code right by the same rule.
    const std::uint32_t told = isStrange ? ToldType(database.header, database.name, block) : 0;
    if (told != 0) database.entry.type = told;
    if (database.entry.type == kTypeIndex) database.index = ParseIndexBlock(block);
    if (database.index) database.index->name = database.name;
  } catch (const ReadFailure& failure) {
    database.failure = failure.what();
    // A damaged head is listed with its failure, a missing file is no database.
    return failure.kind != ReadFailure::kMissing;
  }
  return true;
}

void Dictionary::renew(Heads heads) {
  ReadFile catalog(path_ + kCatalogName);
  const std::vector<DatabaseHdrType> entries = ReadCatalog(catalog);
  const std::vector<StoredDatabase> before = std::exchange(databases_, {});
  const Places placesBefore = std::exchange(byName_, {});
  // A caller that asked for all heads wants sizes and counts, which change without the entry.
  const bool remembers = isBelieved_ && heads == Heads::kOfIndexes;
  byOwner_.clear();
  for (const DatabaseHdrType& entry : entries) {
    StoredDatabase database{entry, NameOf(entry), {}, 0, 0, {}, {}};
    const std::string folded = FoldedName(database.name);
    const auto known = placesBefore.find(folded);
    const StoredDatabase* same = known == placesBefore.end() ? nullptr : &before[known->second.front()];
    if (remembers && same != nullptr && same->index && isSameEntry(same->entry, entry))
      database = *same;
    else if ((heads == Heads::kOfAll || !isTableType(entry.type)) && !readHead(database))
      continue;
    byName_[folded].push_back(databases_.size());
    if (database.index) byOwner_[FoldedName(database.index->table)].push_back(databases_.size());
    databases_.push_back(std::move(database));
  }
  isBelieved_ = true;
}

const StoredDatabase* Dictionary::find(std::string_view name) const {
  const auto found = byName_.find(FoldedName(name));
  return found == byName_.end() ? nullptr : &databases_[found->second.front()];
}

const StoredDatabase* Dictionary::find(std::string_view name, std::uint32_t type) const {
  const auto found = byName_.find(FoldedName(name));
  if (found == byName_.end()) return nullptr;
  for (const std::size_t place : found->second)
    if (databases_[place].entry.type == type) return &databases_[place];
  return nullptr;
}

std::optional<TableDescription> Dictionary::describe(const StoredDatabase& table) const {
  try {
    return ParseTableBlock(DatabaseReader(path_ + table.name, kVariableDatabase).info());
  } catch (const ReadFailure& failure) {
    // One damaged table must not keep a list from showing the others; what the system refuses is for the user to mend.
    if (failure.kind != ReadFailure::kDamaged) throw;
    return std::nullopt;
  }
}

std::vector<IndexDescription> Dictionary::describeIndexes(const StoredDatabase& table, Fields fields) const {
  std::vector<IndexDescription> described;
  DatabaseReader records(path_ + table.name, kVariableDatabase);
  for (const StoredDatabase* index : indexesOf(table.name)) {
    DatabaseReader entries(path_ + index->name, kIndexDatabase);
    described.push_back(*index->index);
    described.back().keyFields = KeyFromOne(records, entries, fields, *index->index);
  }
  return described;
}

std::vector<const StoredDatabase*> Dictionary::indexesOf(std::string_view table) const {
  std::vector<const StoredDatabase*> indexes;
  const auto found = byOwner_.find(FoldedName(table));
  if (found == byOwner_.end()) return indexes;
  for (const std::size_t place : found->second) indexes.push_back(&databases_[place]);
  return indexes;
}

}  // namespace vorne
