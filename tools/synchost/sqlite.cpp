#include <sqlite3.h>

#include <cstring>
#include <unordered_map>

#include "synchost/sql.h"

namespace synchost {
namespace {

// So long another process may hold the file. It is asked for again and again: who writes in portions pauses as briefly.
constexpr int kBusyWaits = 5'000, kBusyPause = 2;  // milliseconds
// A confirmed upload must be on the disk, not in a cache: hence FULL.
constexpr char kSettings[] = "PRAGMA journal_mode=WAL; PRAGMA synchronous=FULL; PRAGMA foreign_keys=ON;";
constexpr Dialect kDialect = {"BEGIN IMMEDIATE", "BLOB", "WITHOUT ROWID"};

struct Finalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, Finalize>;
struct Close {
  void operator()(sqlite3* database) const { sqlite3_close_v2(database); }
};

/// Leaves a statement ready for its next use however that one ended.
class Use {
 public:
  explicit Use(sqlite3_stmt* statement) : statement_(statement) {}
  Use(const Use&) = delete;
  Use& operator=(const Use&) = delete;
  ~Use() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
  }

 private:
  sqlite3_stmt* statement_;
};

Value columnValue(sqlite3_stmt* statement, int column) {
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, column));
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_INTEGER:
      return sqlite3_column_int64(statement, column);
    case SQLITE_TEXT:
      return std::string(reinterpret_cast<const char*>(sqlite3_column_text(statement, column)), size);
    case SQLITE_BLOB: {
      const auto* bytes = static_cast<const char*>(sqlite3_column_blob(statement, column));
      return size == 0 ? Blob() : Blob(bytes, bytes + size);
    }
    default:
      return std::int64_t{0};
  }
}

class Sqlite : public Sql {
 public:
  explicit Sqlite(const std::string& file) {
    sqlite3* opened = nullptr;
    const int result = sqlite3_open(file.c_str(), &opened);
    database_.reset(opened);
    if (result != SQLITE_OK) fail();
    sqlite3_busy_handler(
        opened, [](void*, int before) { return before < kBusyWaits && sqlite3_sleep(kBusyPause) >= 0 ? 1 : 0; },
        nullptr);
    script(kSettings);
  }

  const Dialect& dialect() const override { return kDialect; }

  std::vector<SqlRow> run(const char* text, std::span<const Value> parameters) override {
    sqlite3_stmt* statement = prepared(text);
    const Use use(statement);
    bind(statement, parameters);
    std::vector<SqlRow> rows;
    int result = SQLITE_OK;
    while ((result = sqlite3_step(statement)) == SQLITE_ROW) {
      SqlRow& row = rows.emplace_back();
      for (int i = 0; i < sqlite3_column_count(statement); ++i) row.values.push_back(columnValue(statement, i));
    }
    if (result != SQLITE_DONE) fail();
    return rows;
  }

  void runMany(const char* text, std::span<const Values> rows) override {
    for (const Values& row : rows) run(text, row);
  }

  void script(const std::string& text) override {
    // What is written to a file that has no name any more is gone when the program ends.
    int isMoved = 0;
    sqlite3_file_control(database_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &isMoved);
    if (isMoved != 0) throw StoreFailure("SQLite: its file was removed or replaced; start the host again");
    if (sqlite3_exec(database_.get(), text.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail();
  }

 private:
  sqlite3_stmt* prepared(const char* text) {
    Statement& statement = statements_[text];
    if (statement == nullptr) {
      sqlite3_stmt* made = nullptr;
      if (sqlite3_prepare_v3(database_.get(), text, -1, SQLITE_PREPARE_PERSISTENT, &made, nullptr) != SQLITE_OK) fail();
      statement.reset(made);
    }
    return statement.get();
  }

  void bind(sqlite3_stmt* statement, std::span<const Value> parameters) {
    int place = 0;
    for (const Value& value : parameters) {
      ++place;
      int result = SQLITE_OK;
      if (const auto* number = std::get_if<std::int64_t>(&value)) {
        result = sqlite3_bind_int64(statement, place, *number);
      } else if (const auto* words = std::get_if<std::string>(&value)) {
        result = sqlite3_bind_text(statement, place, words->data(), static_cast<int>(words->size()), SQLITE_STATIC);
      } else {
        const Blob& bytes = std::get<Blob>(value);
        // A null pointer would be NULL.
        result = sqlite3_bind_blob(statement, place, bytes.empty() ? "" : bytes.data(), static_cast<int>(bytes.size()),
                                   SQLITE_STATIC);
      }
      if (result != SQLITE_OK) fail();
    }
  }

  [[noreturn]] void fail() const {
    if (database_ == nullptr) throw StoreFailure("SQLite: no memory");
    std::string why = sqlite3_errmsg(database_.get());
    const bool isClosed = sqlite3_errcode(database_.get()) == SQLITE_CANTOPEN;
    if (isClosed) why += std::string(" (") + std::strerror(sqlite3_system_errno(database_.get())) + ")";
    throw StoreFailure("SQLite: " + why);
  }

  std::unique_ptr<sqlite3, Close> database_;
  std::unordered_map<const char*, Statement> statements_;  // ended before their database is
};

}  // namespace

std::unique_ptr<Sql> OpenSqlite(const std::string& file) {
  return std::make_unique<Sqlite>(file);
}

}  // namespace synchost
