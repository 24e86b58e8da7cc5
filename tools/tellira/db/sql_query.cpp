// SQLite itself does the asking, on a database in memory that holds nothing but virtual tables.
#include "db/sql_query.h"

#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstring>
#include <new>
#include <optional>
#include <set>
#include <string_view>

#include "db/access.h"
#include "edge/console.h"
#include "edge/nearest.h"
#include "edge/progress.h"
#include "storage/reading/table_reader.h"
#include "text/text.h"
#include "vornetab.h"

namespace tool {
namespace {

constexpr const char* kNext = "\n  next: ";

struct CloseConnection {
  void operator()(sqlite3* connection) const { sqlite3_close_v2(connection); }
};
struct FinishStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Connection = std::unique_ptr<sqlite3, CloseConnection>;
using Statement = std::unique_ptr<sqlite3_stmt, FinishStatement>;

std::string quoted(std::string_view text, char quote) {
  std::string result(1, quote);
  for (const char c : text) result.append(c == quote ? 2 : 1, c);
  return result + quote;
}

// What a question needs, and what tells about the tables; nothing that writes, opens files or loads code.
int allowOnlyReading(void*, int action, const char* first, const char* second, const char*, const char*) {
  constexpr std::array<std::string_view, 3> kTelling{"table_info", "table_xinfo", "table_list"};
  switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_RECURSIVE:
      return SQLITE_OK;
    // SQLite asks for it where a table is connected; a statement that would do it is refused all the same.
    case SQLITE_UPDATE:
      return first != nullptr && std::strcmp(first, "sqlite_master") == 0 ? SQLITE_OK : SQLITE_DENY;
    case SQLITE_FUNCTION:
      return second != nullptr && std::strcmp(second, "load_extension") == 0 ? SQLITE_DENY : SQLITE_OK;
    case SQLITE_PRAGMA:
      return first != nullptr && std::find(kTelling.begin(), kTelling.end(), first) != kTelling.end() ? SQLITE_OK
                                                                                                      : SQLITE_DENY;
    default:
      return SQLITE_DENY;
  }
}

// A connection to nothing but the tables of a directory.
class TablesInSql {
 public:
  explicit TablesInSql(const std::string& directory) {
    sqlite3* opened = nullptr;
    const int code = sqlite3_open_v2(":memory:", &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_MEMORY, nullptr);
    connection_.reset(opened);
    if (code != SQLITE_OK || vornetab::registerModule(opened) != SQLITE_OK)
      throw Failure(kEnded, std::string("SQLite cannot be used: ") + sqlite3_errmsg(opened) + ".");
    describe(directory);
    sqlite3_set_authorizer(opened, allowOnlyReading, nullptr);
  }

  Statement prepare(const std::string& text) const {
    const char* rest = nullptr;
    Statement statement = prepareFirst(text.c_str(), &rest);
    if (statement == nullptr) throw Failure(kUsage, std::string("the statement is empty.") + kNext + kExample);
    if (prepareFirst(rest, &rest) != nullptr)
      throw Failure(kUsage, std::string("there is more than one statement.") + kNext + "run one at a time.");
    if (sqlite3_stmt_readonly(statement.get()) == 0) throw Failure(kUsage, std::string(kReadsOnly));
    return statement;
  }

  [[noreturn]] void fail(int code) const {
    const std::string words = sqlite3_errmsg(connection_.get());
    // Extended codes tell more in their higher bits.
    const int kind = code & 0xFF;
    if (kind == SQLITE_NOMEM) throw std::bad_alloc();
    // What the tables' files say goes with its own next step.
    // SQLite keeps the words of a table that could not be looked at, and not always their code.
    if (words.find(" cannot be read: ") != std::string::npos) throw Failure(kEnded, words + kRefused);
    if (kind == SQLITE_BUSY || kind == SQLITE_CORRUPT || kind == SQLITE_CANTOPEN) throw Failure(kNo, words + ".");
    if (words.starts_with("not authorized") || words.ends_with("may not be modified"))
      throw Failure(kUsage, kReadsOnly);
    constexpr std::string_view kNoTable = "no such table: ";
    if (words.starts_with(kNoTable)) failWithoutTable(words.substr(kNoTable.size()));
    const int at = sqlite3_error_offset(connection_.get());
    throw Failure(kUsage, "SQL: " + words + (at < 0 ? "" : ", at character " + std::to_string(at + 1)) + "." + kNext +
                              "`tellira db schema TABLE` shows the fields of a table.");
  }

 private:
  static constexpr const char* kExample = "as in `tellira db sql \"SELECT count(*) FROM SALES\"`.";
  static constexpr const char* kReadsOnly =
      "the statement does more than read, and `tellira db sql` only reads.\n  next: `tellira db --help` shows the "
      "verbs "
      "that change tables.";

  // Tables are only written into the schema: SQLite connects those that the statement names, so that a question opens
  // no other files, and one damaged table does not keep the others from being asked.
  void describe(const std::string& directory) {
    std::set<std::string> known;
    run("PRAGMA writable_schema=ON");
    for (const std::string& latin1 : vorne::TableNames(directory)) {
      const std::string name = utf8FromLatin1(latin1), capitals = upperCase(name);
      // Names that SQLite keeps for itself.
      if (capitals.starts_with("SQLITE_") || !known.insert(capitals).second) continue;
      names_.push_back(name);
      const std::string made = "CREATE VIRTUAL TABLE " + quoted(name, '"') + " USING vornetab(" +
                               quoted(directory, '\'') + "," + quoted(name, '\'') + ")";
      const std::string text = quoted(name, '\'');
      run("INSERT INTO sqlite_schema VALUES('table'," + text + "," + text + ",0," + quoted(made, '\'') + ")");
    }
    run("PRAGMA writable_schema=RESET");
  }

  void run(const std::string& text) const {
    if (sqlite3_exec(connection_.get(), text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK)
      throw Failure(kEnded, std::string("SQLite cannot be used: ") + sqlite3_errmsg(connection_.get()) + ".");
  }

  Statement prepareFirst(const char* text, const char** rest) const {
    sqlite3_stmt* statement = nullptr;
    const int code = sqlite3_prepare_v2(connection_.get(), text, -1, &statement, rest);
    if (code != SQLITE_OK) fail(code);
    return Statement(statement);
  }

  [[noreturn]] void failWithoutTable(const std::string& name) const {
    throw Failure(kNo, "there is no table \"" + name + "\"." +
                           nearText(nearestNames(name, {names_.begin(), names_.end()})) + kNext +
                           "`tellira db list` shows all of them.");
  }

  Connection connection_;
  std::vector<std::string> names_;
};

std::string textOf(sqlite3_stmt* statement, int column) {
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
  return text == nullptr ? std::string()
                         : std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, column)));
}

std::string hexOf(sqlite3_stmt* statement, int column) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto* bytes = static_cast<const unsigned char*>(sqlite3_column_blob(statement, column));
  std::string text;
  for (int i = 0; i < sqlite3_column_bytes(statement, column); ++i) {
    text += kDigits[bytes[i] >> 4];
    text += kDigits[bytes[i] & 15];
  }
  return text;
}

// The shortest digits that mean exactly this number.
std::string digitsOf(double value) {
  char text[400];
  const auto [end, error] = std::isfinite(value) && std::abs(value) < 1e17 && std::abs(value) >= 1e-5
                                ? std::to_chars(text, text + sizeof text, value, std::chars_format::fixed)
                                : std::to_chars(text, text + sizeof text, value);
  return error == std::errc() ? std::string(text, end) : std::string();
}

SqlCell cellOf(sqlite3_stmt* statement, int column) {
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_NULL:
      return {};
    case SQLITE_INTEGER:
      return {SqlCell::kNumber, textOf(statement, column)};
    case SQLITE_FLOAT:
      return {SqlCell::kNumber, digitsOf(sqlite3_column_double(statement, column))};
    case SQLITE_BLOB:
      return {SqlCell::kText, hexOf(statement, column)};
    default:
      return {SqlCell::kText, textOf(statement, column)};
  }
}

void answer(const TablesInSql& tables, sqlite3_stmt* statement, SqlFormat format) {
  const int columns = sqlite3_column_count(statement);
  std::vector<std::string> heads;
  for (int i = 0; i < columns; ++i) heads.emplace_back(sqlite3_column_name(statement, i));
  std::optional<Working> waiting("asking the tables");
  // Begun with the first row: what cannot be answered must not look like an empty answer.
  std::unique_ptr<SqlOutput> output;
  for (int code = SQLITE_ROW; code == SQLITE_ROW;) {
    code = sqlite3_step(statement);
    if (isatty(STDOUT_FILENO) == 1) waiting.reset();  // the rows themselves show it from here on
    if (code != SQLITE_ROW && code != SQLITE_DONE) tables.fail(code);
    if (output == nullptr) output = makeSqlOutput(format, heads);
    if (code == SQLITE_DONE) break;
    SqlRow row;
    for (int i = 0; i < columns; ++i) row.push_back(cellOf(statement, i));
    output->row(row);
  }
  output->end();
}

}  // namespace

void runSqlQuery(const std::string& directory, const std::string& statement, SqlFormat format) {
  try {
    const TablesInSql tables(directory);
    answer(tables, tables.prepare(statement).get(), format);
  } catch (const vorne::ReadFailure& failure) {
    throw Failure(failure.kind == vorne::ReadFailure::kRefused ? kEnded : kNo, utf8FromLatin1(failure.what()) + ".");
  }
}

}  // namespace tool
