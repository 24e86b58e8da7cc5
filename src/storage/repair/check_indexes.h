// Indexes held against their tables, from the files' bytes alone: every entry against the record that it names.
#pragma once

#include "storage/format/description.h"
#include "storage/repair/check_database.h"

namespace vorne {

/// A database with its files, as far as they can be read.
struct CheckedDatabase {
  DatabaseFiles files;
  DatabaseState state;
};

/// What a database says about the index that it is; none when it is no index of a table.
std::optional<IndexDescription> ToldIndex(const DatabaseFiles& files, const DatabaseState& state);
/// True when the database describes a table.
bool IsTable(const CheckedDatabase& database);

/// Tells what does not match, naming the first record.
/// @param index sound, as `table` is
void CheckIndex(const CheckedDatabase& table, const CheckedDatabase& index, Findings& findings);

/// The index file made afresh; empty when none can be made of the key.
std::vector<char> FreshIndex(const CheckedDatabase& table, const CheckedDatabase& index);

}  // namespace vorne
