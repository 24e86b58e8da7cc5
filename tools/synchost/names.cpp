#include "synchost/names.h"

#include <algorithm>
#include <map>

#include "db/field_definitions.h"
#include "sync/table_making.h"
#include "synchost/catalogue.h"
#include "text/text.h"

namespace synchost {
namespace {

constexpr std::size_t kLongestComponent = 255;  // of what devices read a text into
// What devices keep beside the host's tables, and the name that stands for no index.
constexpr const char* kDevicesOwn[] = {"CAD_USER",      "TOHOST",   "MSGLOG",    "FROMHH",
                                       "ENQUEUEDELETE", "APPLYING", "SYNC_DATE", "INVALID_INDEX"};

using Taken = std::map<std::string, std::string>;  // names, and what has them

std::vector<std::pair<std::string, std::string>> namesOf(const Table& table) {
  std::vector<std::pair<std::string, std::string>> names = {{table.name, "the table " + table.name}};
  if (table.memoFields != 0) names.emplace_back(table.name + vorne::kMemoSuffix, "the memo texts of " + table.name);
  for (const TableIndex& index : table.indexes) names.emplace_back(index.name, "an index of " + table.name);
  return names;
}

Taken takenBy(const std::vector<Table>& tables) {
  Taken taken;
  for (const char* name : kDevicesOwn) taken.emplace(name, "what devices keep for themselves");
  for (const Table& table : CatalogueTables())
    for (const auto& [name, what] : namesOf(table)) taken.emplace(name, "the catalogue that devices are sent");
  for (const Table& table : tables)
    for (const auto& [name, what] : namesOf(table)) taken.emplace(name, what);
  return taken;
}

void checkName(const std::string& name) {
  if (!vorne::IsTableName(name))
    tool::refuse("devices take no table or index named \"" + name + "\"",
                 "take another name, of 1 to 30 letters and digits, that does not end in _OS");
}

}  // namespace

void CheckNames(const Table& table, const std::vector<Table>& others) {
  checkName(table.name);
  for (const TableIndex& index : table.indexes) checkName(index.name);
  if (table.indexes.size() > vorne::kMostIndexes)
    tool::refuse(table.name + " has " + std::to_string(table.indexes.size()) + " indexes",
                 "take no more than " + std::to_string(vorne::kMostIndexes));
  Taken taken = takenBy(others);
  for (const auto& [name, what] : namesOf(table))
    if (const auto [found, isNew] = taken.emplace(name, what); !isNew)
      tool::refuse("the name " + name + " of " + what + " is taken by " + found->second,
                   "take another one: on devices all are files of one directory");
}

void CheckDeletion(const std::string& name, const std::vector<Table>& tables) {
  checkName(name);
  if (std::any_of(tables.begin(), tables.end(), [&](const Table& table) { return table.name == name; })) return;
  const Taken taken = takenBy(tables);
  if (const auto found = taken.find(name); found != taken.end())
    tool::refuse(name + " belongs to " + found->second, "name a table");
}

void CheckComponent(const std::string& name) {
  const auto isControl = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; };
  if (name.empty() || name.size() > kLongestComponent || std::any_of(name.begin(), name.end(), isControl))
    tool::refuse("\"" + name.substr(0, 60) + "\" can be no name of a component",
                 "take 1 to " + std::to_string(kLongestComponent) + " printable characters");
}

}  // namespace synchost
