// `tellira db sql`: questions about the tables in SQL.
#include <map>

#include "db/db.h"
#include "db/sql_query.h"
#include "edge/console.h"

namespace tool {
namespace {

constexpr const char* kFooter = R"(
All tables of the directory are there by name, to be read only; this may run while the program works. Texts, dates
(2004-03-17, NULL for the empty date) and memos are texts, logicals 0 and 1. `recno` is the number of a record. Deleted
records are passed over unless the statement names `_deleted`, which is 1 for them. On a terminal lines are cut to its
width; what is piped, or asked for as csv or json, is whole.

Examples:
  tellira db sql "SELECT name, sum(price) FROM SALES GROUP BY name ORDER BY 2 DESC LIMIT 10"
  tellira db sql --format csv "SELECT * FROM CLIENTES WHERE _deleted = 1"

Exit status: 0 done, 1 there is no such table, or it is damaged, or another program kept it busy, 2 wrong usage or SQL,
3 a file could not be read.)";

struct SqlOptions {
  std::string statement;
  std::string format = "table";
  bool json = false;
};

const std::map<std::string, SqlFormat> kFormats{
    {"table", SqlFormat::kTable}, {"csv", SqlFormat::kCsv}, {"json", SqlFormat::kJson}};

int runSql(const DbOptions& group, const SqlOptions& options) {
  runSqlQuery(group.checkedDirectory(), options.statement,
              options.json ? SqlFormat::kJson : kFormats.at(options.format));
  return kDone;
}

}  // namespace

void addDbSql(Verb& group, const SharedDbOptions& shared) {
  auto options = std::make_shared<SqlOptions>();
  Verb verb = group.verb("sql", "Ask the tables with SQL");
  verb.choice("--format", options->format, "FORM", "Form of the answer: table (default), csv or json",
              {"table", "csv", "json"});
  verb.flag("--json", options->json, "The same as --format json");
  verb.argument("SQL", options->statement, "One statement that reads");
  verb.footer(kFooter);
  verb.action([shared, options] { return runSql(*shared, *options); });
}

}  // namespace tool
