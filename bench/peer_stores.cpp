#include <lmdb.h>
#include <sqlite3.h>

#include <cstdio>
#include <filesystem>
#include <string>

#include "stores.h"

namespace {

// ------------------------------------------------------------------------------------------------------------ SQLite

class Sqlite : public Store {
 public:
  void empty() override {
    for (const char* suffix : {"", "-wal", "-shm"}) std::filesystem::remove(std::string(kFile) + suffix);
    connect();
    run("CREATE TABLE records (id INTEGER PRIMARY KEY, data BLOB)");
    close();
  }

  void open() override {
    connect();
    read_ = prepare("SELECT data FROM records WHERE id = ?");
    readAll_ = prepare("SELECT data FROM records ORDER BY id");
    append_ = prepare("INSERT INTO records (id, data) VALUES (?, ?)");
    update_ = prepare("UPDATE records SET data = ?2 WHERE id = ?1");
    sqlite3_bind_int64(read_, 1, 0);
    if (sqlite3_step(read_) == SQLITE_ROW) SumOf(read_);
    sqlite3_reset(read_);
  }

  void close() override {
    for (sqlite3_stmt** statement : {&read_, &readAll_, &append_, &update_}) {
      sqlite3_finalize(*statement);
      *statement = nullptr;
    }
    want(sqlite3_close(db_), SQLITE_OK, "close");
  }

  void append() override {
    run("BEGIN");
    for (std::uint32_t i = 0; i < kRecords; ++i) store(append_, i, 0);
    run("COMMIT");
  }

  std::uint64_t readInOrder() override {
    std::uint64_t sum = 0;
    run("BEGIN");
    for (std::uint32_t i = 0; i < kRecords; ++i) {
      want(sqlite3_step(readAll_), SQLITE_ROW, "read");
      sum += SumOf(readAll_);
    }
    want(sqlite3_step(readAll_), SQLITE_DONE, "read");
    sqlite3_reset(readAll_);
    run("COMMIT");
    return sum;
  }

  std::uint64_t readShuffled() override {
    std::uint64_t sum = 0;
    run("BEGIN");
    for (const std::uint32_t index : Shuffled()) {
      sqlite3_bind_int64(read_, 1, index);
      want(sqlite3_step(read_), SQLITE_ROW, "read");
      sum += SumOf(read_);
      sqlite3_reset(read_);
    }
    run("COMMIT");
    return sum;
  }

  void update(std::uint32_t updates) override {
    run("BEGIN");
    for (std::uint32_t i = 0; i < kRecords; ++i) store(update_, i, updates);
    run("COMMIT");
  }

 private:
  static constexpr char kFile[] = "records.sqlite";

  static void want(int code, int wanted, const char* what) { Want(code == wanted, what, code); }
  static std::uint64_t SumOf(sqlite3_stmt* row) {
    const void* data = sqlite3_column_blob(row, 0);
    Want(sqlite3_column_bytes(row, 0) == static_cast<int>(kRecordSize), "read");
    return ::SumOf(data);
  }

  void connect() {
    want(sqlite3_open(kFile, &db_), SQLITE_OK, "open");
    run("PRAGMA journal_mode = WAL; PRAGMA synchronous = OFF");
  }
  void run(const char* sql) { want(sqlite3_exec(db_, sql, nullptr, nullptr, nullptr), SQLITE_OK, sql); }
  sqlite3_stmt* prepare(const char* sql) {
    sqlite3_stmt* statement = nullptr;
    want(sqlite3_prepare_v2(db_, sql, -1, &statement, nullptr), SQLITE_OK, sql);
    return statement;
  }
  static void store(sqlite3_stmt* statement, std::uint32_t index, std::uint32_t updates) {
    const Record content = ContentOf(index, updates);
    sqlite3_bind_int64(statement, 1, index);
    sqlite3_bind_blob(statement, 2, content.data(), kRecordSize, SQLITE_STATIC);
    want(sqlite3_step(statement), SQLITE_DONE, "write");
    sqlite3_reset(statement);
  }

  sqlite3* db_ = nullptr;
  sqlite3_stmt *read_ = nullptr, *readAll_ = nullptr, *append_ = nullptr, *update_ = nullptr;
};

// -------------------------------------------------------------------------------------------------------------- LMDB

class Lmdb : public Store {
 public:
  void empty() override {
    for (const char* suffix : {"", "-lock"}) std::filesystem::remove(std::string(kFile) + suffix);
  }

  void open() override {
    want(mdb_env_create(&env_), "open");
    want(mdb_env_set_mapsize(env_, std::size_t{1} << 30), "open");
    want(mdb_env_open(env_, kFile, MDB_NOSUBDIR | MDB_WRITEMAP | MDB_NOSYNC, 0660), "open");
    begin(0);
    want(mdb_dbi_open(transaction_, nullptr, MDB_INTEGERKEY | MDB_CREATE, &db_), "open");
    MDB_stat size;
    want(mdb_stat(transaction_, db_, &size), "open");
    if (size.ms_entries != 0) read(0);
    commit();
  }

  void close() override { mdb_env_close(env_); }

  void append() override {
    begin(0);
    for (std::uint32_t i = 0; i < kRecords; ++i) store(i, 0, MDB_APPEND);
    commit();
  }

  std::uint64_t readInOrder() override {
    begin(MDB_RDONLY);
    MDB_cursor* cursor = nullptr;
    want(mdb_cursor_open(transaction_, db_, &cursor), "read");
    MDB_val key, value;
    std::uint64_t sum = 0;
    for (std::uint32_t i = 0; i < kRecords; ++i) {
      want(mdb_cursor_get(cursor, &key, &value, MDB_NEXT), "read");
      sum += SumOf(value);
    }
    mdb_cursor_close(cursor);
    commit();
    return sum;
  }

  std::uint64_t readShuffled() override {
    begin(MDB_RDONLY);
    std::uint64_t sum = 0;
    for (const std::uint32_t index : Shuffled()) sum += read(index);
    commit();
    return sum;
  }

  void update(std::uint32_t updates) override {
    begin(0);
    for (std::uint32_t i = 0; i < kRecords; ++i) store(i, updates, 0);
    commit();
  }

 private:
  static constexpr char kFile[] = "records.lmdb";

  static void want(int code, const char* what) { Want(code == MDB_SUCCESS, what, code); }
  static std::uint64_t SumOf(const MDB_val& value) {
    Want(value.mv_size == kRecordSize, "read");
    return ::SumOf(value.mv_data);
  }

  void begin(unsigned flags) { want(mdb_txn_begin(env_, nullptr, flags, &transaction_), "begin"); }
  void commit() { want(mdb_txn_commit(transaction_), "commit"); }
  std::uint64_t read(std::uint32_t index) {
    MDB_val key{sizeof index, &index}, value;
    want(mdb_get(transaction_, db_, &key, &value), "read");
    return SumOf(value);
  }
  void store(std::uint32_t index, std::uint32_t updates, unsigned flags) {
    Record content = ContentOf(index, updates);
    MDB_val key{sizeof index, &index}, value{content.size(), content.data()};
    want(mdb_put(transaction_, db_, &key, &value, flags), "write");
  }

  MDB_env* env_ = nullptr;
  MDB_txn* transaction_ = nullptr;
  MDB_dbi db_ = 0;
};

}  // namespace

std::unique_ptr<Store> SqliteStore() {
  return std::make_unique<Sqlite>();
}
std::unique_ptr<Store> LmdbStore() {
  return std::make_unique<Lmdb>();
}
