// The stored dictionary with this tool's words around it: names in UTF-8, errors with the nearest name and a next step.
#include "db/dictionary.h"
#include "db/words.h"

#include <strings.h>

#include <algorithm>
#include <filesystem>
#include <utility>

#include "edge/console.h"
#include "edge/nearest.h"
#include "text/text.h"

namespace tool {
namespace {

using vorne::IndexDescription;
using vorne::ReadFailure;
using vorne::StoredDatabase;

bool isSameName(const std::string& a, const std::string& b) {
  return a.size() == b.size() && strcasecmp(a.c_str(), b.c_str()) == 0;
}

[[noreturn]] void failUnread(const ReadFailure& failure) {
  throw Failure(kEnded, utf8FromLatin1(failure.what()) + ".");
}

/// None when it is damaged.
std::optional<vorne::TableDescription> descriptionOf(const vorne::Dictionary& stored, const StoredDatabase& table) {
  try {
    return stored.describe(table);
  } catch (const ReadFailure& failure) {
    failUnread(failure);
  }
}

/// "there is no field "X" in T.", with the nearest of the names.
template <class Names, class NameOf>
std::string missingText(const char* noun, std::string_view name, const std::string& table, const Names& all,
                        NameOf nameOf) {
  std::vector<std::string> names;
  for (const auto& one : all) names.push_back(shown(nameOf(one)));
  const std::vector<std::string_view> views(names.begin(), names.end());
  std::string text = "there is no " + std::string(noun) + " \"" + std::string(name) + "\" in " + shown(table) + "." +
                     nearText(nearestNames(name, views));
  if (names.empty()) text += std::string("\n  it has no ") + noun + " at all.";
  return text + "\n  next: `tellira db schema " + shown(table) + "` shows what it has.";
}

}  // namespace

std::string storedName(std::string_view utf8) {
  try {
    return latin1FromUtf8(utf8);
  } catch (const ConversionError& error) {
    throw Failure(kUsage, "the name \"" + std::string(utf8) + "\" cannot be a database's: " + error.what() +
                              ".\n  next: `tellira db list` shows all of them.");
  }
}

std::string fieldText(const ControlFieldTBL& field) {
  const char letter = vorne::TypeLetter(field.FieldType);
  std::string text = shown(field.FieldName) + ":" + letter;
  const bool lengthIsFixed =
      field.FieldType == TBLDATE || field.FieldType == TBLMEMO || (field.FieldType == TBLBOOL && field.FieldLen == 1);
  if (!lengthIsFixed || field.FieldDecLen != 0) text += ":" + std::to_string(field.FieldLen);
  if (field.FieldDecLen != 0) text += ":" + std::to_string(field.FieldDecLen);
  return text;
}

Dictionary::Dictionary(const std::string& directory, Heads heads) : directory_(directory), stored_(directory) {
  try {
    stored_.renew(heads);
  } catch (const ReadFailure& failure) {
    // A directory without a catalogue holds nothing yet: each verb tells it in its own words.
    if (failure.kind != ReadFailure::kMissing) failUnread(failure);
  }
}

const StoredDatabase* Dictionary::database(std::string_view name) const& {
  const StoredDatabase* found = stored_.find(storedName(name));
  // An entry without a file is nobody's.
  return found != nullptr && std::filesystem::exists(stored_.path() + found->name) ? found : nullptr;
}

bool Dictionary::isLost(const std::string& name) const {
  std::error_code failed;
  const std::string path = stored_.path() + name;
  return stored_.find(name) == nullptr && std::filesystem::is_regular_file(path, failed) &&
         std::filesystem::file_size(path, failed) > vorne::kHeaderSize && !failed;
}

std::string Dictionary::lostTableOf(const StoredDatabase& database) const {
  const std::string_view suffix = vorne::kMemoSuffix;
  std::string table;
  if (database.index)
    table = database.index->table;
  else if (database.entry.type == vorne::kTypeMemo && database.name.ends_with(suffix))
    table = database.name.substr(0, database.name.size() - suffix.size());
  return !table.empty() && isLost(table) ? table : std::string();
}

std::string Dictionary::unknownText(std::string_view name, const char* noun) const {
  const bool tables = std::string_view(noun) == "table";
  std::vector<std::string> names;
  for (const StoredDatabase& database : databases())
    if (!tables || database.entry.type == vorne::kTypeData) names.push_back(shown(database.name));
  const std::vector<std::string_view> views(names.begin(), names.end());
  return "there is no " + std::string(noun) + " \"" + std::string(name) + "\" in " + directory_ +
         (views.empty() ? "." : "." + nearText(nearestNames(name, views))) +
         "\n  next: `tellira db list` shows all of them.";
}

void Dictionary::demandOwnFiles(const StoredDatabase& database, Use use) const {
  demandAccess(stored_.path() + database.name, use);
  if (database.entry.type != vorne::kTypeIndex) demandAccess(stored_.path() + vorne::OffsetsName(database.name), use);
}

void Dictionary::demandFiles(const StoredDatabase& database, Use use) const {
  demandOwnFiles(database, use);
  if (database.entry.type != vorne::kTypeData) return;
  if (const StoredDatabase* memo = stored_.find(database.name + vorne::kMemoSuffix, vorne::kTypeMemo))
    demandOwnFiles(*memo, use);
  for (const StoredDatabase* index : stored_.indexesOf(database.name)) demandOwnFiles(*index, use);
  for (const StoredDatabase& other : databases())
    // One whose head could not be read may be this table's index.
    if (!other.failure.empty()) demandOwnFiles(other, Use::kReads);
}

Dictionary::Table Dictionary::table(std::string_view name, Use use) const {
  const StoredDatabase* found = database(name);
  if (found == nullptr) throw Failure(kNo, unknownText(name, "table"));
  const bool isTable = found->entry.type == vorne::kTypeData;
  demandFiles(*found, use);
  const auto description = isTable ? descriptionOf(stored_, *found) : std::nullopt;
  if (!description)
    throw Failure(
        kUsage, shown(found->name) + " is no table that can be opened: " +
                    (isTable ? "its description is missing or damaged" : "its type is " + codeText(found->entry.type)) +
                    ".\n  next: `tellira db schema " + shown(found->name) + "` shows what it is.");
  try {
    return {found->name, *description, stored_.describeIndexes(*found, description->fields)};
  } catch (const ReadFailure& failure) {
    failUnread(failure);
  }
}

const IndexDescription& Dictionary::Table::index(std::string_view wanted) const {
  const std::string stored = storedName(wanted);
  for (const IndexDescription& index : indexes)
    if (isSameName(index.name, stored)) return index;
  throw Failure(kNo, missingText("index", wanted, name, indexes, [](const auto& index) { return index.name; }));
}

std::uint32_t Dictionary::Table::field(std::string_view wanted) const {
  const std::uint32_t number = vorne::FieldNumber(fields(), storedName(wanted));
  if (number != 0) return number;
  throw Failure(kUsage, missingText("field", wanted, name, fields(),
                                    [](const ControlFieldTBL& field) { return std::string(field.FieldName); }));
}

bool Dictionary::Table::hasMemo() const {
  const vorne::Fields all = fields();
  return std::any_of(all.begin(), all.end(), [](const auto& field) { return field.FieldType == TBLMEMO; });
}

}  // namespace tool
