// The columns that a table has for SQLite: its fields, then two hidden ones.
#pragma once

#include <string>
#include <vector>

#include "storage/table_reader.h"

namespace vornetab {

struct Columns {
  int recno, deleted;       ///< numbers of the hidden columns
  std::string declaration;  ///< the CREATE TABLE statement that tells SQLite about them
};

/// Names that cannot stand beside others get a number behind them.
Columns columnsOf(const std::vector<vorne::TableField>& fields);

}  // namespace vornetab
