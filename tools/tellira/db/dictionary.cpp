#include "db/dictionary.h"
#include "db/words.h"

#include <strings.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <optional>
#include <utility>

#include "edge/console.h"
#include "edge/nearest.h"
#include "text/text.h"

namespace tool {
namespace {

using vorne::DatabaseReport;
using vorne::IndexDescription;

bool isSameName(const std::string& a, const std::string& b) {
  return a.size() == b.size() && strcasecmp(a.c_str(), b.c_str()) == 0;
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

Dictionary::Dictionary(std::string directory)
    : directory_(std::move(directory)), databases_(vorne::ListDirectory(directory_).databases) {}

const DatabaseReport* Dictionary::database(std::string_view name) const& {
  const std::string wanted = storedName(name);
  const auto found = std::find_if(databases_.begin(), databases_.end(),
                                  [&](const DatabaseReport& database) { return isSameName(database.name, wanted); });
  return found == databases_.end() ? nullptr : &*found;
}

std::string Dictionary::takenText(const DatabaseReport& taken, std::string_view name) {
  const bool same = isSameName(taken.name, std::string(name));
  return same ? "there is a database \"" + shown(taken.name) + "\" already"
              : "\"" + shown(name) + "\" is the name of the offsets file of \"" + shown(taken.name) + "\"";
}

const DatabaseReport* Dictionary::inTheWayOf(std::string_view name) const& {
  if (const DatabaseReport* taken = database(name)) return taken;
  const std::string capitals = upperCase(std::string(name));
  if (!capitals.ends_with(vorne::kOffsetsSuffix)) return nullptr;
  const DatabaseReport* owner = database(name.substr(0, name.size() - std::strlen(vorne::kOffsetsSuffix)));
  return owner != nullptr && owner->kind == vorne::kVariableDatabase ? owner : nullptr;
}

std::vector<char> Dictionary::blockOf(const DatabaseReport& database) const {
  // A block has at most as many bytes as a file that was just opened.
  std::vector<char> block(std::min<std::size_t>(database.appInfoBytes, vorne::kSmallestFile));
  std::ifstream file(directory_ + "/DB/" + database.name, std::ios::binary);
  file.seekg(vorne::kHeaderSize);
  file.read(block.data(), static_cast<std::streamsize>(block.size()));
  block.resize(static_cast<std::size_t>(file.gcount()));
  return block;
}

std::vector<IndexDescription> Dictionary::indexes(const std::string& table) const {
  std::vector<IndexDescription> found;
  for (const DatabaseReport& database : databases_) {
    if (database.entry.type != vorne::kTypeIndex) continue;
    auto index = vorne::ParseIndexBlock(blockOf(database));
    if (!index || !isSameName(index->table, table)) continue;
    index->name = database.name;
    found.push_back(std::move(*index));
  }
  return found;
}

std::size_t Dictionary::indexesOf(const std::string& table) const {
  return indexes(table).size();
}

std::string Dictionary::unknownText(std::string_view name, const char* noun) const {
  const bool tables = std::string_view(noun) == "table";
  std::vector<std::string> names;
  for (const DatabaseReport& database : databases_)
    if (!tables || database.entry.type == vorne::kTypeData) names.push_back(shown(database.name));
  const std::vector<std::string_view> views(names.begin(), names.end());
  return "there is no " + std::string(noun) + " \"" + std::string(name) + "\" in " + directory_ +
         (views.empty() ? "." : "." + nearText(nearestNames(name, views))) +
         "\n  next: `tellira db list` shows all of them.";
}

Dictionary::Table Dictionary::table(std::string_view name) const {
  const DatabaseReport* found = database(name);
  if (found == nullptr) throw Failure(kNo, unknownText(name, "table"));
  const auto description = vorne::ParseTableBlock(blockOf(*found));
  if (found->entry.type != vorne::kTypeData || !description)
    throw Failure(kUsage, shown(found->name) + " is no table that can be opened: " +
                              (found->entry.type == vorne::kTypeData ? "its description is missing or damaged"
                                                                     : "its type is " + codeText(found->entry.type)) +
                              ".\n  next: `tellira db schema " + shown(found->name) + "` shows what it is.");
  return {found->name, *description, indexes(found->name)};
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
