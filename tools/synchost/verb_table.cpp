#include <algorithm>
#include <iterator>

#include "db/field_definitions.h"
#include "edge/confirm.h"
#include "edge/console.h"
#include "edge/text_table.h"
#include "synchost/names.h"
#include "synchost/verbs.h"

namespace synchost {
namespace {

constexpr const char* kFooter = R"(
A field is NAME:TYPE:LEN[:DEC] with a type C, N, D, L or M. The key tells which records are the same ones: without
--key it is the first index. A table without an index has no key: records are only ever added, and devices are sent it
whole. A table of type T is always sent whole, one of type P in the parts that changed.

Example:
  tellira synchost table create SALES DAY:D TOTAL:N:12:2 --direction up)";

constexpr const char* kDirections[] = {"both", "down", "up"};

struct TableOptions {
  std::string name, type = "P", key, direction = "both";
  std::vector<std::string> fields, indexes;
  bool yes = false;
};

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

int create(const StoreName& name, const TableOptions& options) {
  Table table = MakeTable(options.name, joined(options.fields), joined(options.indexes), options.key);
  table.type = options.type.front();
  const auto direction = std::find(std::begin(kDirections), std::end(kDirections), options.direction);
  table.direction = static_cast<Direction>(direction - std::begin(kDirections));
  Store store = OpenStore(name);
  CheckNames(table, store.tables());
  store.createTable(table);
  store.commit();
  return tool::kDone;
}

int drop(const StoreName& name, const TableOptions& options) {
  Store store = OpenStore(name);
  const Table table = TableNamed(store, options.name);
  if (store.tables().size() == 1)
    tool::refuse(table.name + " is the only table, and devices take a host without tables for a broken one",
                 "create the table that takes its place first");
  if (!tool::confirmed("drop " + table.name + " with all its records, here and on the devices", options.yes))
    return tool::kNo;
  store.dropTable(table);
  for (const Device& device : store.devices())
    store.addTask(device.id, TaskKind::kDelete, table.name, table.fieldTexts);
  store.commit();
  return tool::kDone;
}

int list(const StoreName& name) {
  Store store = OpenStore(name);
  tool::TextTable<6> rows{{"Table", "Type", "Direction", "Records", "Fields", "Indexes"}};
  for (const Table& table : store.tables())
    rows.add({table.name, std::string(1, table.type), kDirections[static_cast<std::size_t>(table.direction)],
              std::to_string(store.countLive(table)), table.fieldTexts, table.indexTexts});
  rows.print();
  return tool::kDone;
}

}  // namespace

void AddTable(tool::Verb& group, const StoreName& store) {
  auto options = std::make_shared<TableOptions>();
  tool::Verb table = group.verb("table", "Say which tables are synchronised");
  tool::Verb made = table.verb("create", "Synchronise a table");
  made.argument("TABLE", options->name, "Its name");
  made.arguments("FIELD", options->fields, "Its fields, as in CODE:C:13 PRICE:N:12:2");
  made.option("--index", options->indexes, "NAME:FIELD,...", "An index that devices make; may be given several times");
  made.option("--key", options->key, "INDEX", "The index that tells records apart [the first one]");
  made.choice("--type", options->type, "T|P", "Sent whole, or in the parts that changed [P]", {"T", "P"});
  made.choice("--direction", options->direction, "both|down|up", "To devices, from them, or both [both]",
              {std::begin(kDirections), std::end(kDirections)});
  made.footer(kFooter);
  made.action([store, options] { return create(store, *options); });
  tool::Verb gone = table.verb("drop", "Remove a table here and on all devices");
  gone.argument("TABLE", options->name, "Its name");
  gone.flag("--yes", options->yes, "Do not ask");
  gone.action([store, options] { return drop(store, *options); });
  table.verb("list", "List the tables").action([store] { return list(store); });
}

}  // namespace synchost
