// The rows of one run of a query, one after the other.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "plan.h"

namespace vornetab {

class Cursor {
 public:
  explicit Cursor(vorne::TableReader& reader) : reader_(reader), row_(reader) {}

  /// Starts a run with the values that the plan asked for, and goes to its first row.
  void start(const Plan& plan, int count, sqlite3_value** values);
  void next();
  bool isAtEnd() const { return isAtEnd_; }
  /// Gives SQLite the value of a column.
  void column(sqlite3_context* context, int number) const;
  sqlite3_int64 recno() const { return sqlite3_int64{row_.position()} + 1; }

 private:
  bool readMore();
  void chooseByIndex(sqlite3_value** values);
  void chooseRecord(sqlite3_value* value);

  vorne::TableReader& reader_;
  vorne::Row row_;
  Plan plan_;
  std::vector<std::uint32_t> positions_;  // still to be read from position next_ on; a scan gets more of them
  std::size_t next_ = 0;
  bool isWholeTable_ = false;
  std::optional<vorne::KeyList> made_;  // of an index that could not be used, for all runs of a query
  vorne::StoredRows rows_;
  std::size_t place_ = 0;  // of the next row in rows_
  bool isAtEnd_ = true;
};

}  // namespace vornetab
