// `tellira db schema`: what there is to know about one database.
#include <cstdio>
#include <optional>
#include <utility>
#include <vector>

#include "db/db.h"
#include "db/dictionary.h"
#include "db/read_table.h"
#include "db/words.h"
#include "edge/console.h"
#include "edge/json_text.h"
#include "edge/text_table.h"
#include "storage/repair/directory_check.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
A table is described with its fields and indexes, and with the command lines that would make it. Nothing is changed. The
name may be written in small or capital letters.

Example:
  tellira db schema SALES --json)";

struct SchemaOptions {
  std::string name;
  bool json = false;
};

const char* kindInWords(vorne::DatabaseKind kind) {
  switch (kind) {
    case vorne::kVariableDatabase:
      return "records of any length";
    case vorne::kIndexDatabase:
      return "index, records of one length";
    default:
      return "records of one length";
  }
}

std::string dateText(const SYSTEMTIME& date) {
  char text[64];
  std::snprintf(text, sizeof text, "%04u-%02u-%02u %02u:%02u:%02u", date.wYear, date.wMonth, date.wDay, date.wHour,
                date.wMinute, date.wSecond);
  return text;
}

/// The names of an index's key fields; a number that names none as it stands.
std::vector<std::string> keyNames(const Dictionary::Table& table, const vorne::IndexDescription& index) {
  std::vector<std::string> names;
  for (const IDX_Indexes& key : index.keyFields)
    names.push_back(key.KeyField >= 1 && key.KeyField <= table.fields().size()
                        ? shown(table.fields()[key.KeyField - 1].FieldName)
                        : std::to_string(key.KeyField));
  return names;
}

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) text += (text.empty() ? "" : ",") + name;
  return text;
}

// ------------------------------------------------------------------------------------------------------------ JSON

Json jsonOf(const ControlFieldTBL& field) {
  Json json;
  json["name"] = shown(field.FieldName);
  json["type"] = std::string(1, vorne::TypeLetter(field.FieldType));
  json["length"] = field.FieldLen;
  json["decimals"] = field.FieldDecLen;
  return json;
}

void describe(const Dictionary::Table& table, Json& json) {
  for (const ControlFieldTBL& field : table.fields()) json["fields"].push_back(jsonOf(field));
  for (const vorne::IndexDescription& index : table.indexes)
    json["indexes"].push_back({{"name", shown(index.name)}, {"fields", keyNames(table, index)}});
}

Json jsonOf(const vorne::DatabaseReport& database) {
  Json json;
  json["table"] = shown(database.name);
  json["records"] = database.records;
  json["fields"] = Json::array();
  json["indexes"] = Json::array();
  json["kind"] = std::string(1, static_cast<char>(database.kind));
  json["type"] = codeText(database.entry.type);
  json["creator"] = codeText(database.entry.creator);
  json["created"] = dateText(database.entry.creationDate);
  json["modified"] = dateText(database.entry.modificationDate);
  json["attributes"] = database.entry.attributes;
  json["version"] = database.entry.version;
  json["applicationInfoBytes"] = database.appInfoBytes;
  json["recordBytes"] = {{"least", database.smallest}, {"most", database.largest}, {"all", database.recordBytes}};
  json["dataFileBytes"] = database.dataFileBytes;
  json["offsetsFileBytes"] = database.offsetsFileBytes;
  return json;
}

// ------------------------------------------------------------------------------------------------------------ text

std::string sizesInWords(const vorne::DatabaseReport& database) {
  if (database.records == 0) return "-";
  return std::to_string(database.smallest) + " to " + std::to_string(database.largest) + " bytes, " +
         std::to_string(database.recordBytes / database.records) + " on average";
}

std::string filesInWords(const vorne::DatabaseReport& database) {
  const std::string data = sizeText(database.dataFileBytes);
  if (database.kind != vorne::kVariableDatabase) return data;
  return data + ", offsets file " + sizeText(database.offsetsFileBytes);
}

void printText(const vorne::DatabaseReport& database) {
  const std::pair<const char*, std::string> lines[] = {
      {"name", shown(database.name)},
      {"kind", std::string(1, static_cast<char>(database.kind)) + ", " + kindInWords(database.kind)},
      {"type", codeText(database.entry.type)},
      {"creator", codeText(database.entry.creator)},
      {"created", dateText(database.entry.creationDate)},
      {"modified", dateText(database.entry.modificationDate)},
      {"attributes", std::to_string(database.entry.attributes)},
      {"version", std::to_string(database.entry.version)},
      {"application information", std::to_string(database.appInfoBytes) + " bytes"},
      {"records", std::to_string(database.records)},
      {"record sizes", sizesInWords(database)},
      {"files", filesInWords(database)},
  };
  for (const auto& [head, value] : lines) {
    std::string cell(head);
    cell.resize(25, ' ');
    print(cell + value + "\n");
  }
}

/// A word of a command line as a shell takes it.
std::string quoted(const std::string& word) {
  return word.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-:,") ==
                 std::string::npos
             ? word
             : "'" + word + "'";
}

void printText(const Dictionary::Table& table) {
  print("\n");
  TextTable<4> fields{{"Field", "Type", "Length", "Decimals"}};
  for (const ControlFieldTBL& field : table.fields())
    fields.add({shown(field.FieldName), std::string(1, vorne::TypeLetter(field.FieldType)),
                std::to_string(field.FieldLen), std::to_string(field.FieldDecLen)});
  fields.print();
  print("\n");
  if (!table.indexes.empty()) {
    TextTable<2> indexes{{"Index", "Key fields"}};
    for (const vorne::IndexDescription& index : table.indexes)
      indexes.add({shown(index.name), joined(keyNames(table, index))});
    indexes.print();
    print("\n");
  }
  print("tellira db create " + quoted(shown(table.name)));
  for (const ControlFieldTBL& field : table.fields()) print(" " + quoted(fieldText(field)));
  print("\n");
  for (const vorne::IndexDescription& index : table.indexes)
    print("tellira db index create " + quoted(shown(table.name)) + " " + quoted(shown(index.name)) + " " +
          quoted(joined(keyNames(table, index))) + "\n");
}

/// The database as a table, when it is one.
std::optional<Dictionary::Table> tableOf(const std::string& directory, const vorne::DatabaseReport& database) {
  if (database.entry.type != vorne::kTypeData) return std::nullopt;
  try {
    return lookingAgain(directory, [&] { return Dictionary(directory).table(utf8FromLatin1(database.name)); });
  } catch (const Failure&) {
    return std::nullopt;
  }
}

int runSchema(const DbOptions& group, const SchemaOptions& options) {
  const std::string directory = group.checkedDirectory();
  const Dictionary dictionary(directory);
  if (const vorne::StoredDatabase* found = dictionary.database(options.name))
    dictionary.demandFiles(*found, Use::kReads);
  const auto database = vorne::DescribeDatabase(directory, storedName(options.name));
  if (!database) throw Failure(kNo, dictionary.unknownText(options.name, "database"));
  const auto table = tableOf(directory, *database);
  if (!options.json) {
    printText(*database);
    if (table) printText(*table);
    return kDone;
  }
  Json json = jsonOf(*database);
  if (table) describe(*table, json);
  printJson(json);
  return kDone;
}

}  // namespace

void addDbSchema(Verb& group, const SharedDbOptions& shared) {
  auto options = std::make_shared<SchemaOptions>();
  Verb verb = group.verb("schema", "Describe one database: kind, records, files; a table's fields and indexes");
  verb.flag("--json", options->json, "Print a JSON object");
  verb.argument("NAME", options->name, "Name of the database");
  verb.footer(kFooter);
  verb.action([shared, options] { return runSchema(*shared, *options); });
}

}  // namespace tool
