// A connection of SQLite's own library with the extension loaded, and short ways to fill tables.
#pragma once

#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "support/tables.h"

/// The rows of an answer, cells joined with '|' (NULL is "-"); or one row with the error's text.
using Answer = std::vector<std::string>;

class Sql {
 public:
  Sql() {
    sqlite3_open(":memory:", &connection_);
    sqlite3_enable_load_extension(connection_, 1);
    char* message = nullptr;
    if (sqlite3_load_extension(connection_, VORNETAB, nullptr, &message) != SQLITE_OK) ADD_FAILURE() << message;
  }
  Sql(const Sql&) = delete;
  ~Sql() { sqlite3_close(connection_); }

  Answer operator()(const std::string& text) {
    Answer answer;
    sqlite3_stmt* statement = nullptr;
    int code = sqlite3_prepare_v2(connection_, text.c_str(), -1, &statement, nullptr);
    while (code == SQLITE_OK && (status_ = sqlite3_step(statement)) == SQLITE_ROW) {
      std::string row;
      for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        const auto* cell = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
        row += (i == 0 ? "" : "|") + std::string(cell == nullptr ? "-" : cell);
      }
      answer.push_back(row);
    }
    if (code == SQLITE_OK && status_ != SQLITE_DONE) code = status_;
    if (code != SQLITE_OK) answer = {std::string("error: ") + sqlite3_errmsg(connection_)};
    sqlite3_finalize(statement);
    return answer;
  }
  /// Makes the virtual table of that name; what went wrong, or nothing.
  Answer use(const std::string& table) {
    return (*this)("CREATE VIRTUAL TABLE " + table + " USING vornetab('.', '" + table + "')");
  }
  /// How SQLite gets at the rows of a query.
  std::string plan(const std::string& text) {
    const Answer rows = (*this)("EXPLAIN QUERY PLAN " + text);
    std::string all;
    for (const std::string& row : rows) all += row + "\n";
    return all;
  }

 private:
  sqlite3* connection_ = nullptr;
  int status_ = SQLITE_OK;
};

class SqlTest : public TableTest {
 protected:
  static void make(const char* table, const char* structure, const std::vector<const char*>& indexes = {}) {
    ::make(table, structure);
    for (const char* expression : indexes) makeIndex(expression, expression);
  }
  static void set(const char* field, Obj_Node* content) { __SetField(nullptr, text(field), content); }
  static void set(const char* field, const std::string& content) { set(field, text(content)); }
};
