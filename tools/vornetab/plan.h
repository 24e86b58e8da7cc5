// How one query gets at a table's records: what SQLite's planner is offered, and what comes back to a cursor.
#pragma once

#include "columns.h"
#include "sqlite.h"

namespace vornetab {

enum class Access { kScan, kRecord, kIndex };

struct Plan {
  Access access = Access::kScan;
  bool memos = false;         ///< memo texts are wanted
  bool deleted = false;       ///< deleted records are shown: the query names the column that tells them apart
  bool descending = false;    ///< from the greatest key to the smallest
  bool exact = false;         ///< the leading key field (or the record number) equals the first argument
  bool least = false;         ///< the first argument bounds the leading key field from below
  bool most = false;          ///< the next one bounds it from above
  unsigned sortedFields = 0;  ///< leading key fields in whose order the rows must come; 0: any order
  unsigned index = 0;         ///< number of the index

  int number() const;  ///< all that in one number, which SQLite passes on
  static Plan fromNumber(int number);
};

/// Chooses a plan for the conditions and the order that a query has, tells SQLite its cost, and asks for the arguments.
/// Conditions are all checked again by SQLite.
/// @return a result code of SQLite
int choosePlan(vorne::TableReader& reader, sqlite3_index_info* info);

}  // namespace vornetab
