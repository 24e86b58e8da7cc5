// Appending rows of text to a table, all of them or none.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "db/dictionary.h"
#include "db/field_values.h"
#include "db/table_session.h"
#include "storage/tables/bulk_load.h"

namespace tool {

/// The name of the column that tells whether a record is deleted.
inline constexpr char kDeletedColumn[] = "_deleted";

/// The field, from 0, that each of the names in the first line means; the one behind the last for kDeletedColumn.
/// @param names in any order and letters, in UTF-8
/// @throws Failure (kUsage) for a name that is no field, or is there twice
std::vector<std::size_t> columnsOf(const Dictionary::Table& table, const std::vector<std::string>& names);

/// See BulkLoad for what a process that is killed leaves.
class TableLoader {
 public:
  /// @param columns the field, from 0, that each column fills; see columnsOf()
  TableLoader(TableSession& session, const Dictionary::Table& table, std::vector<std::size_t> columns,
              ValueRules rules);

  /// Appends a row with one cell for each column.
  /// @return empty, or what is wrong with which cell, as in `column 2 (PRICE): "abc" is not a number.\n  next: ...`
  std::string add(const std::vector<std::string_view>& cells);
  /// To be called behind the last row; see BulkLoad::finish().
  void finish() { load_.finish(); }
  /// Removes all rows that were added, with their memo texts; the indexes become what they were.
  /// @return false when that could not be done
  bool takeBack() { return load_.takeBack(); }

  std::uint64_t added() const { return load_.added(); }
  /// How many numbers were rounded to their field's decimals.
  std::uint64_t rounded() const { return values_.rounded(); }

 private:
  std::string store(std::size_t column, std::string_view cell);
  std::string storeMemo(std::size_t field, std::string_view cell);
  std::string columnText(std::size_t column, std::string_view cell, const std::string& problem) const;

  vorne::BulkLoad load_;
  vorne::Fields fields_;  // the deletion mark included
  std::vector<std::size_t> columns_;
  Encoding encoding_;
  ValueReader values_;
};

}  // namespace tool
