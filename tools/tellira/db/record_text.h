// Records of a table as text: rows of CSV, objects of JSON.
#pragma once

#include <string>

#include "storage/reading/table_reader.h"

namespace tool {

struct RecordForm {
  bool deletedColumn = false;  ///< with a column that tells whether the record is deleted
  bool masked = false;         ///< with card numbers masked; a number that is one becomes a text
  char separator = ',';        ///< of CSV
};

/// Adds the line that names the fields.
void appendCsvHead(std::string& to, const vorne::TableReader& table, const RecordForm& form);
void appendCsvRow(std::string& to, const vorne::TableReader& table, const vorne::Row& row, const RecordForm& form);
/// Adds an object keyed by field name in field order, without a line end. The empty date is null.
void appendJsonRecord(std::string& to, const vorne::TableReader& table, const vorne::Row& row, const RecordForm& form);

/// One field's value in UTF-8; nothing for the empty date.
std::string valueText(const vorne::TableReader& table, const vorne::Row& row, std::size_t field);

}  // namespace tool
