// `tellira db`: the databases of a working directory.
#include "db/db.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
The directory is the one that the program works in; its databases are in the subdirectory DB.

Examples:
  tellira db --dir /srv/pos list
  tellira db create CUSTOMER CODE:C:12 NAME:C:30 LIMIT:N:12:2
  tellira db import CUSTOMER customers.csv
  tellira db check

Exit status: 0 done, 1 done but the answer is no (not found, damage found, records lost), 2 wrong usage or input, 3 the
runtime could not go on.)";

}  // namespace

void addDb(Verb& top) {
  auto options = std::make_shared<DbOptions>();
  Verb group = top.verb("db", "Work with the tables and databases of a working directory");
  group.sharedOption("--dir", options->directory, "DIR", "Working directory that holds DB (default: the current one)");
  group.footer(kFooter);
  addDbList(group, options);
  addDbSchema(group, options);
  addDbCreate(group, options);
  addDbImport(group, options);
  addDbExport(group, options);
  addDbIndex(group, options);
  addDbSeek(group, options);
  addDbRecords(group, options);
  addDbSql(group, options);
  addDbCheck(group, options);
  addDbDescribe(group, options);
}

}  // namespace tool
