// `tellira db`: the databases of a working directory.
#include <array>
#include <cstdio>
#include <filesystem>

#include "db/db.h"
#include "edge/console.h"
#include "edge/masking.h"
#include "edge/paths.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
The directory is the one that the program works in; its databases are in the subdirectory DB.

Examples:
  tellira db --dir /srv/pos list
  tellira db create CUSTOMER CODE:C:12 NAME:C:30 LIMIT:N:12:2
  tellira db import CUSTOMER customers.csv
  tellira db check --repair

Exit status: 0 done, 1 done but the answer is no (not found, damage found, records lost), 2 wrong usage or input, 3 the
runtime could not go on.)";

}  // namespace

std::string DbOptions::checkedDirectory() const {
  std::string path = absolute(directory);
  if (path.size() > 1 && path.ends_with('/')) path.pop_back();
  if (std::filesystem::is_directory(path + "/DB")) return path;
  throw Failure(kUsage, path + " has no subdirectory DB with databases.\n  next: name the directory that the program " +
                            "works in, as in `tellira db --dir /srv/pos list`.");
}

std::string shown(std::string_view latin1) {
  return maskCards(utf8FromLatin1(latin1));
}

std::string codeText(std::uint32_t code) {
  std::string text;
  for (int shift = 24; code != 0 && shift >= 0; shift -= 8) {
    const char c = static_cast<char>(code >> shift);
    text += c >= ' ' && c < 0x7F ? c : '?';
  }
  return text;
}

std::string counted(std::uint64_t count, const std::string& noun, const std::string& many) {
  return std::to_string(count) + " " + (count == 1 ? noun : many.empty() ? noun + "s" : many);
}

std::string sizeText(std::uint64_t bytes) {
  static constexpr std::array<const char*, 4> kUnits{"B", "kB", "MB", "GB"};
  auto size = static_cast<double>(bytes);
  std::size_t unit = 0;
  for (; size >= 1000 && unit + 1 < kUnits.size(); ++unit) size /= 1000;
  char text[32];
  std::snprintf(text, sizeof text, unit == 0 ? "%.0f %s" : "%.1f %s", size, kUnits[unit]);
  return text;
}

CLI::Option& addName(CLI::App& verb, const char* name, std::string& value, const char* description) {
  const auto take = [&value](const std::string& text) { value = unguarded(text); };
  return *verb.add_option_function<std::string>(name, take, description)->type_name("")->required();
}

void addDb(CLI::App& app, Action& action) {
  auto options = std::make_shared<DbOptions>();
  CLI::App& group = *app.add_subcommand("db", "Work with the tables and databases of a working directory");
  group.add_option("--dir", options->directory, "Working directory that holds DB (default: the current one)")
      ->type_name("DIR");
  group.require_subcommand(1);
  group.footer(kFooter);
  addDbList(group, options, action);
  addDbSchema(group, options, action);
  addDbCreate(group, options, action);
  addDbImport(group, options, action);
  addDbExport(group, options, action);
  addDbIndex(group, options, action);
  addDbSeek(group, options, action);
  addDbRecords(group, options, action);
  addDbSql(group, options, action);
  addDbCheck(group, options, action);
}

}  // namespace tool
