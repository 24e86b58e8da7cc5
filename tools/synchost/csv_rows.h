// Records of a table as rows of CSV, the way `tellira db` writes and reads them.
#pragma once

#include <set>
#include <string>

#include "db/field_values.h"
#include "edge/csv.h"
#include "synchost/table.h"

namespace synchost {

/// The line that names the fields.
void AppendHead(std::string& to, const Table& table);
void AppendRow(std::string& to, const Table& table, RecordBuffer& buffer, vorne::Bytes content);

/// Reads rows whose first one names fields of the table; fields that it does not name stay blank.
class CsvRecords {
 public:
  /// @throws tool::Failure (kUsage) for a first row that names something else
  CsvRecords(const Table& table, tool::CsvReader& reader, tool::ValueRules rules);
  /// The next record; none at the end.
  /// @throws tool::Failure (kUsage) for a cell that cannot stand in its field
  std::optional<KeptRecord> next();

 private:
  const Table& table_;
  tool::CsvReader& reader_;
  tool::ValueReader values_;
  RecordBuffer buffer_;
  std::vector<std::size_t> fields_;  // of the columns
};

}  // namespace synchost
