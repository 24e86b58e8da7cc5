#include <lmdb.h>
#include <sqlite3.h>

#include <cstring>
#include <filesystem>

#include "table_stores.h"

namespace {

// ------------------------------------------------------------------------------------------------------------ SQLite

class Sqlite : public TableStore {
 public:
  void load(std::uint32_t rows, bool indexesFirst) override {
    for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(std::string(kFile) + suffix);
    want(sqlite3_open(kFile, &db_), SQLITE_OK, "open");
    run("PRAGMA journal_mode = WAL; PRAGMA synchronous = OFF");
    run("CREATE TABLE t (id INTEGER PRIMARY KEY, code TEXT, name TEXT, price REAL, day INTEGER, flag INTEGER)");
    if (indexesFirst) run(kIndexes);
    insert_ = prepare("INSERT INTO t (code, name, price, day, flag) VALUES (?, ?, ?, ?, ?)");
    run("BEGIN");
    for (std::uint32_t i = 0; i < rows; ++i) put(RowOf(i));
    run("COMMIT");
    if (!indexesFirst) run(kIndexes);
    seek_ = prepare("SELECT price FROM t WHERE code = ?");
    scan_ = prepare("SELECT price FROM t INDEXED BY codes ORDER BY code");
    price_ = prepare("UPDATE t SET price = ?2 WHERE id = ?1");
    code_ = prepare("UPDATE t SET code = ?2 WHERE id = ?1");
  }

  void close() override {
    for (sqlite3_stmt** statement : {&insert_, &seek_, &scan_, &price_, &code_}) {
      sqlite3_finalize(*statement);
      *statement = nullptr;
    }
    want(sqlite3_close(db_), SQLITE_OK, "close");
  }

  double seek(const std::vector<std::string>& codes) override {
    double sum = 0;
    run("BEGIN");
    for (const std::string& code : codes) {
      sqlite3_bind_text(seek_, 1, code.data(), static_cast<int>(code.size()), SQLITE_STATIC);
      want(sqlite3_step(seek_), SQLITE_ROW, "seek");
      sum += sqlite3_column_double(seek_, 0);
      sqlite3_reset(seek_);
    }
    run("COMMIT");
    return sum;
  }

  double scan() override {
    double sum = 0;
    int code = 0;
    while ((code = sqlite3_step(scan_)) == SQLITE_ROW) sum += sqlite3_column_double(scan_, 0);
    want(code, SQLITE_DONE, "scan");
    sqlite3_reset(scan_);
    return sum;
  }

  void append(std::uint32_t from, const std::vector<std::uint32_t>& rows) override {
    run("BEGIN");
    for (const std::uint32_t row : rows) put(RowOf(from + row));
    run("COMMIT");
  }

  void setPrices(const std::vector<std::uint32_t>& rows) override {
    run("BEGIN");
    for (const std::uint32_t row : rows) {
      sqlite3_bind_double(price_, 2, RowOf(row).price);
      update(price_, row);
    }
    run("COMMIT");
  }

  void setCodes(const std::vector<std::uint32_t>& rows) override {
    run("BEGIN");
    for (const std::uint32_t row : rows) {
      const TableRow changed = MakeRow(row, 1);
      sqlite3_bind_text(code_, 2, changed.code, -1, SQLITE_STATIC);
      update(code_, row);
    }
    run("COMMIT");
  }

 private:
  static constexpr char kFile[] = "rows.sqlite";
  static constexpr char kIndexes[] = "CREATE INDEX codes ON t (code); CREATE INDEX names ON t (name)";

  static void want(int code, int wanted, const char* what) { Want(code == wanted, what, code); }
  void run(const char* sql) { want(sqlite3_exec(db_, sql, nullptr, nullptr, nullptr), SQLITE_OK, sql); }
  sqlite3_stmt* prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    want(sqlite3_prepare_v2(db_, sql, -1, &statement, nullptr), SQLITE_OK, sql);
    return statement;
  }

  void put(const TableRow& row) {
    sqlite3_bind_text(insert_, 1, row.code, -1, SQLITE_STATIC);
    sqlite3_bind_text(insert_, 2, row.name, -1, SQLITE_STATIC);
    sqlite3_bind_double(insert_, 3, row.price);
    sqlite3_bind_int(insert_, 4, row.day);
    sqlite3_bind_int(insert_, 5, row.flag);
    want(sqlite3_step(insert_), SQLITE_DONE, "insert");
    sqlite3_reset(insert_);
  }
  static void update(sqlite3_stmt* statement, std::uint32_t row) {
    sqlite3_bind_int64(statement, 1, row + 1);
    want(sqlite3_step(statement), SQLITE_DONE, "update");
    sqlite3_reset(statement);
  }

  sqlite3* db_ = nullptr;
  sqlite3_stmt *insert_ = nullptr, *seek_ = nullptr, *scan_ = nullptr, *price_ = nullptr, *code_ = nullptr;
};

// -------------------------------------------------------------------------------------------------------------- LMDB

// Rows by number, and for each index a database from key to number, with duplicates.
class Lmdb : public TableStore {
 public:
  // Its way from key to number has to be there for every row.
  void load(std::uint32_t rows, bool) override {
    for (const char* suffix : {"", "-lock"}) std::filesystem::remove(std::string(kFile) + suffix);
    want(mdb_env_create(&env_), "open");
    want(mdb_env_set_mapsize(env_, std::size_t{2} << 30), "open");
    want(mdb_env_set_maxdbs(env_, 3), "open");
    want(mdb_env_open(env_, kFile, MDB_NOSUBDIR | MDB_WRITEMAP | MDB_NOSYNC, 0660), "open");
    begin(0);
    want(mdb_dbi_open(transaction_, "rows", MDB_INTEGERKEY | MDB_CREATE, &rows_), "open");
    want(mdb_dbi_open(transaction_, "codes", MDB_DUPSORT | MDB_DUPFIXED | MDB_CREATE, &codes_), "open");
    want(mdb_dbi_open(transaction_, "names", MDB_DUPSORT | MDB_DUPFIXED | MDB_CREATE, &names_), "open");
    for (std::uint32_t i = 0; i < rows; ++i) put(i, RowOf(i));
    commit();
    count_ = rows;
  }

  void close() override { mdb_env_close(env_); }

  double seek(const std::vector<std::string>& codes) override {
    double sum = 0;
    begin(MDB_RDONLY);
    for (const std::string& code : codes) {
      MDB_val key{code.size(), const_cast<char*>(code.data())}, number;
      want(mdb_get(transaction_, codes_, &key, &number), "seek");
      sum += get(number).price;
    }
    commit();
    return sum;
  }

  double scan() override {
    double sum = 0;
    begin(MDB_RDONLY);
    MDB_cursor* cursor = nullptr;
    want(mdb_cursor_open(transaction_, codes_, &cursor), "scan");
    MDB_val key, number;
    while (mdb_cursor_get(cursor, &key, &number, MDB_NEXT) == MDB_SUCCESS) sum += get(number).price;
    mdb_cursor_close(cursor);
    commit();
    return sum;
  }

  void append(std::uint32_t from, const std::vector<std::uint32_t>& rows) override {
    begin(0);
    for (const std::uint32_t row : rows) put(count_++, RowOf(from + row));
    commit();
  }

  void setPrices(const std::vector<std::uint32_t>& rows) override {
    begin(0);
    for (const std::uint32_t row : rows) {
      TableRow changed = get(numberOf(row));
      changed.price = RowOf(row).price;
      store(row, changed);
    }
    commit();
  }

  void setCodes(const std::vector<std::uint32_t>& rows) override {
    begin(0);
    for (std::uint32_t row : rows) {
      TableRow changed = get(numberOf(row));
      MDB_val key = keyOf(changed.code), number{sizeof row, &row};
      want(mdb_del(transaction_, codes_, &key, &number), "delete");
      std::memcpy(changed.code, MakeRow(row, 1).code, sizeof changed.code);
      store(row, changed);
      want(mdb_put(transaction_, codes_, &key, &number, 0), "write");
    }
    commit();
  }

 private:
  static constexpr char kFile[] = "rows.lmdb";

  static void want(int code, const char* what) { Want(code == MDB_SUCCESS, what, code); }
  void begin(unsigned flags) { want(mdb_txn_begin(env_, nullptr, flags, &transaction_), "begin"); }
  void commit() { want(mdb_txn_commit(transaction_), "commit"); }
  static MDB_val keyOf(char* text) { return {std::strlen(text), text}; }

  static MDB_val numberOf(const std::uint32_t& row) { return {sizeof row, const_cast<std::uint32_t*>(&row)}; }
  TableRow get(MDB_val number) {
    MDB_val value;
    want(mdb_get(transaction_, rows_, &number, &value), "read");
    TableRow row;
    std::memcpy(&row, value.mv_data, sizeof row);
    return row;
  }
  void store(std::uint32_t number, TableRow& row) {
    MDB_val key = numberOf(number), value{sizeof row, &row};
    want(mdb_put(transaction_, rows_, &key, &value, 0), "write");
  }
  void put(std::uint32_t number, TableRow row) {
    store(number, row);
    MDB_val value = numberOf(number), code = keyOf(row.code), name = keyOf(row.name);
    want(mdb_put(transaction_, codes_, &code, &value, 0), "write");
    want(mdb_put(transaction_, names_, &name, &value, 0), "write");
  }

  MDB_env* env_ = nullptr;
  MDB_txn* transaction_ = nullptr;
  MDB_dbi rows_ = 0, codes_ = 0, names_ = 0;
  std::uint32_t count_ = 0;
};

}  // namespace

std::unique_ptr<TableStore> SqliteTable() {
  return std::make_unique<Sqlite>();
}
std::unique_ptr<TableStore> LmdbTable() {
  return std::make_unique<Lmdb>();
}
