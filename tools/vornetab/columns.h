// The columns that a table has for SQLite: two hidden ones, then its fields.
#pragma once

#include <string>
#include <vector>

#include "storage/reading/table_reader.h"

namespace vornetab {

// Numbers of the columns. The hidden ones stand first, where SQLite can tell for each by itself whether a query names
// it.
inline constexpr int kDeletedColumn = 0, kRecnoColumn = 1, kFirstField = 2;

/// The CREATE TABLE statement that tells SQLite about them. Names that cannot stand beside others get a number behind
/// them.
std::string declarationOf(const std::vector<vorne::TableField>& fields);

}  // namespace vornetab
