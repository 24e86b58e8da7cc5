// `tellira db schema`: what there is to know about one database.
#include <cstdio>
#include <utility>
#include <vector>

#include "console.h"
#include "db.h"
#include "json_text.h"
#include "text.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
Nothing is changed. The name may be written in small or capital letters.

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

std::string storedName(const std::string& name) {
  try {
    return latin1FromUtf8(name);
  } catch (const ConversionError& error) {
    throw Failure(kUsage, "the name \"" + name + "\" cannot be a database's: " + error.what() +
                              ".\n  next: `tellira db list` shows all of them.");
  }
}

int runSchema(const DbOptions& group, const SchemaOptions& options) {
  const std::string directory = group.checkedDirectory();
  const auto database = vorne::DescribeDatabase(directory, storedName(options.name));
  if (!database) {
    complain("there is no database \"" + options.name + "\" in " + directory +
             ".\n  next: `tellira db list` shows all of them.");
    return kNo;
  }
  if (options.json)
    printJson(jsonOf(*database));
  else
    printText(*database);
  return kDone;
}

}  // namespace

void addDbSchema(CLI::App& group, const SharedDbOptions& shared, Action& action) {
  auto options = std::make_shared<SchemaOptions>();
  CLI::App& verb = *group.add_subcommand("schema", "Describe one database: kind, dates, records, files");
  verb.add_flag("--json", options->json, "Print a JSON object");
  verb.add_option("NAME", options->name, "Name of the database")->type_name("")->required();
  verb.footer(kFooter);
  verb.callback([shared, options, &action] {
    options->name = unguarded(options->name);
    action = [shared, options] { return runSchema(*shared, *options); };
  });
}

}  // namespace tool
