// `tellira db list`: the databases, as the catalogue has them.
#include <array>

#include "console.h"
#include "db.h"
#include "json_text.h"
#include "table.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
Nothing is changed and no record is read, so that this may run beside the program.

Example:
  tellira db --dir /srv/pos list --json)";

std::uint64_t bytesOf(const vorne::DatabaseReport& database) {
  return database.dataFileBytes + database.offsetsFileBytes;
}

Json jsonOf(const vorne::DatabaseReport& database) {
  Json json;
  json["name"] = shown(database.name);
  json["type"] = codeText(database.entry.type);
  json["records"] = database.records;
  json["indexes"] = 0;  // of the tables among them, once there are any
  json["bytes"] = bytesOf(database);
  return json;
}

int runList(const DbOptions& options, bool json) {
  const vorne::DirectoryReport report = vorne::ListDirectory(options.checkedDirectory());
  Json list = Json::array();
  Table<4> table{{"Name", "Type", "Records", "Size"}};
  for (const vorne::DatabaseReport& database : report.databases) {
    list.push_back(jsonOf(database));
    table.add({shown(database.name), codeText(database.entry.type), std::to_string(database.records),
               sizeText(bytesOf(database))});
  }
  if (json)
    printJson(list);
  else
    table.print();
  return kDone;
}

}  // namespace

void addDbList(CLI::App& group, const SharedDbOptions& options, Action& action) {
  auto json = std::make_shared<bool>(false);
  CLI::App& verb = *group.add_subcommand("list", "List the databases: type, records, size");
  verb.add_flag("--json", *json, "Print a JSON array");
  verb.footer(kFooter);
  verb.callback([options, json, &action] { action = [options, json] { return runList(*options, *json); }; });
}

}  // namespace tool
