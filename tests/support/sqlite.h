// A database of SQLite's own in memory.
#pragma once

#include <sqlite3.h>

#include <map>
#include <string>
#include <vector>

class Sqlite {
 public:
  using Rows = std::vector<std::vector<std::string>>;

  Sqlite() { sqlite3_open(":memory:", &connection_); }
  ~Sqlite() {
    for (const auto& [text, statement] : statements_) sqlite3_finalize(statement);
    sqlite3_close(connection_);
  }
  Sqlite(const Sqlite&) = delete;
  Sqlite& operator=(const Sqlite&) = delete;

  /// The rows of the answer, NULL as "-"; none when error() tells why. With `keeps` the statement serves again.
  Rows run(const std::string& text, const std::vector<std::string>& arguments = {}, bool keeps = true) {
    sqlite3_stmt*& statement = statements_[text];
    int code = SQLITE_OK;
    if (statement == nullptr) code = sqlite3_prepare_v2(connection_, text.c_str(), -1, &statement, nullptr);
    for (std::size_t i = 0; i < arguments.size(); ++i)
      sqlite3_bind_text(statement, static_cast<int>(i) + 1, arguments[i].c_str(), -1, SQLITE_TRANSIENT);
    Rows rows;
    while (code == SQLITE_OK && sqlite3_step(statement) == SQLITE_ROW) {
      rows.emplace_back();
      for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const auto* cell = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
        rows.back().emplace_back(cell == nullptr ? "-" : cell);
      }
    }
    if (code == SQLITE_OK) code = sqlite3_reset(statement);
    error_ = code == SQLITE_OK ? "" : sqlite3_errmsg(connection_);
    if (!keeps || statement == nullptr) {
      sqlite3_finalize(statement);
      statements_.erase(text);
    }
    return error_.empty() ? rows : Rows{};
  }
  const std::string& error() const { return error_; }

 protected:
  sqlite3* connection_ = nullptr;

 private:
  std::map<std::string, sqlite3_stmt*> statements_;
  std::string error_;
};
