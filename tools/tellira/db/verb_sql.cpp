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
records are passed over unless the statement names `_deleted`, which is 1 for them.

Examples:
  tellira db sql "SELECT name, sum(price) FROM SALES GROUP BY name ORDER BY 2 DESC LIMIT 10"
  tellira db sql --format csv "SELECT * FROM CLIENTES WHERE _deleted = 1"

Exit status: 0 done, 1 a table is damaged or another program kept it busy, 2 wrong usage or SQL.)";

struct SqlOptions {
  std::string statement;
  SqlFormat format = SqlFormat::kTable;
};

const std::map<std::string, SqlFormat> kFormats{
    {"table", SqlFormat::kTable}, {"csv", SqlFormat::kCsv}, {"json", SqlFormat::kJson}};

}  // namespace

void addDbSql(CLI::App& group, const SharedDbOptions& shared, Action& action) {
  auto options = std::make_shared<SqlOptions>();
  auto format = std::make_shared<std::string>("table");
  CLI::App& verb = *group.add_subcommand("sql", "Ask the tables with SQL");
  verb.add_option("--format", *format, "Form of the answer: table (default), csv or json")
      ->type_name("FORM")
      ->check(CLI::IsMember({"table", "csv", "json"}));
  verb.add_option("SQL", options->statement, "One statement that reads")->type_name("")->required();
  verb.footer(kFooter);
  verb.callback([shared, options, format, &action] {
    options->statement = unguarded(options->statement);
    options->format = kFormats.at(*format);
    action = [shared, options] {
      runSqlQuery(shared->checkedDirectory(), options->statement, options->format);
      return kDone;
    };
  });
}

}  // namespace tool
