// A connection of SQLite's own library with the extension loaded, and short ways to fill tables.
#pragma once

#include <string>
#include <vector>

#include "support/sqlite.h"
#include "support/tables.h"

/// The rows of an answer, cells joined with '|' (NULL is "-"); or one row with the error's text.
using Answer = std::vector<std::string>;

class Sql : Sqlite {
 public:
  Sql() {
    sqlite3_enable_load_extension(connection_, 1);
    char* message = nullptr;
    if (sqlite3_load_extension(connection_, VORNETAB, nullptr, &message) != SQLITE_OK) ADD_FAILURE() << message;
  }

  Answer operator()(const std::string& text) {
    Answer answer;
    for (const auto& cells : run(text, {}, false)) {
      answer.push_back(cells[0]);
      for (std::size_t i = 1; i < cells.size(); ++i) answer.back() += "|" + cells[i];
    }
    return error().empty() ? answer : Answer{"error: " + error()};
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
