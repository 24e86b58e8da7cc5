// `tellira db list`: the databases, as the catalogue has them.
#include <array>
#include <cstring>
#include <filesystem>
#include <set>

#include "db/db.h"
#include "db/dictionary.h"
#include "db/read_table.h"
#include "db/words.h"
#include "edge/console.h"
#include "edge/json_text.h"
#include "edge/text_table.h"
#include "storage/format/names.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
Nothing is changed and no record is read, so that this may run beside the program.

Example:
  tellira db --dir /srv/pos list --json)";

std::uint64_t bytesOf(const vorne::StoredDatabase& database) {
  return database.dataBytes + database.offsetsBytes;
}

/// Only tables have any.
std::size_t indexesOf(const Dictionary& dictionary, const vorne::StoredDatabase& database) {
  return database.entry.type == vorne::kTypeData ? dictionary.indexesOf(database.name) : 0;
}

Json jsonOf(const vorne::StoredDatabase& database, std::size_t indexes) {
  Json json;
  json["name"] = shown(database.name);
  json["type"] = codeText(database.entry.type);
  json["records"] = database.header.NumberOfRecords;
  json["indexes"] = indexes;
  json["bytes"] = bytesOf(database);
  return json;
}

/// Databases whose files are there and that the catalogue does not name.
std::uint64_t unnamedIn(const Dictionary& dictionary, const std::string& data) {
  std::set<std::string> named;
  for (const vorne::StoredDatabase& database : dictionary.databases()) named.insert(database.name);
  std::uint64_t unnamed = 0;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(data, error)) {
    const std::string file = entry.path().filename();
    if (!file.ends_with(vorne::kOffsetsSuffix) || named.contains(file)) continue;
    // Every table has an offsets file, and nothing else has one; alone it is what a deletion may leave.
    const std::string owner = file.substr(0, file.size() - std::strlen(vorne::kOffsetsSuffix));
    if (!named.contains(owner) && std::filesystem::exists(data + "/" + owner, error)) ++unnamed;
  }
  return unnamed;
}

/// A lost catalogue must not look like that of an empty directory, nor one begun anew like the whole.
/// @param comings made before the dictionary was
void noteUnnamed(const Dictionary& dictionary, const std::string& directory, const Comings& comings) {
  constexpr int kLooks = 5;
  constexpr std::chrono::milliseconds kBetweenLooks{100};
  const std::string data = directory + vorne::kDataDirectory;
  std::uint64_t unnamed = unnamedIn(dictionary, data);
  // Beside a program the files may have come, or gone, since the catalogue was read.
  for (int look = 1; unnamed != 0 && look < kLooks && comings.arePossible(); ++look) {
    std::this_thread::sleep_for(kBetweenLooks);
    unnamed = unnamedIn(Dictionary(directory), data);
  }
  if (unnamed != 0)
    note("tellira: the catalogue does not name " + counted(unnamed, "database") + " whose files are in " + data +
         ".\n  next: `tellira db check` tells what is there.");
}

int runList(const DbOptions& options, bool json) {
  const std::string directory = options.checkedDirectory();
  const Comings comings(directory);
  const Dictionary dictionary(directory, Dictionary::Heads::kOfAll);
  Json list = Json::array();
  TextTable<5> table{{"Name", "Type", "Records", "Indexes", "Size"}};
  for (const vorne::StoredDatabase& database : dictionary.databases()) {
    if (!database.failure.empty()) dictionary.demandOwnFiles(database, Use::kReads);
    const std::size_t indexes = indexesOf(dictionary, database);
    list.push_back(jsonOf(database, indexes));
    table.add({shown(database.name), codeText(database.entry.type), std::to_string(database.header.NumberOfRecords),
               std::to_string(indexes), sizeText(bytesOf(database))});
  }
  if (json)
    printJson(list);
  else
    table.print();
  noteUnnamed(dictionary, directory, comings);
  return kDone;
}

}  // namespace

void addDbList(Verb& group, const SharedDbOptions& options) {
  auto json = std::make_shared<bool>(false);
  Verb verb = group.verb("list", "List the databases: type, records, indexes, size");
  verb.flag("--json", *json, "Print a JSON array");
  verb.footer(kFooter);
  verb.action([options, json] { return runList(*options, *json); });
}

}  // namespace tool
