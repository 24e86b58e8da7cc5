// Indexes held against their tables, from the files' bytes alone: every entry against the record that it names.
#pragma once

#include "storage/format/description.h"
#include "storage/repair/check_database.h"

namespace vorne {

/// A database with its files, as far as they can be read, and what was found of its records.
struct CheckedDatabase {
  DatabaseFiles files;
  DatabaseState state;

  std::size_t count() const { return state.records.places.size(); }
  std::span<const char> record(std::size_t index) const {
    return SavedRecord(files.data.bytes(), state.records, state.records.places[index]);
  }
};
struct CheckedTable {
  CheckedDatabase database;
  TableDescription description;
};

/// What a database says about the index that it is; none when it is no index of a table.
std::optional<IndexDescription> ToldIndex(const DatabaseFiles& files, const DatabaseState& state);

/// The key fields of an index that says what it is, numbered from 1. Files of other origin count them from 0: taken so
/// where more of the entries are made of those fields.
std::vector<IDX_Indexes> KeyByEntries(const CheckedTable& table, const CheckedDatabase& index,
                                      const IndexDescription& told);

/// True when at least half of the entries, of a bounded number, are made of the records that they name.
bool IsIndexOf(const CheckedTable& table, const CheckedDatabase& index, const IndexDescription& told);

/// Tells what does not match, naming the first record.
/// @param told the index by its own words, or as it is taken to be
void CheckIndex(const CheckedTable& table, const CheckedDatabase& index, const IndexDescription& told,
                Findings& findings);

/// The key of which all entries are made, told from them: when one key of the table's fields makes all of them, and no
/// other does.
std::optional<std::vector<IDX_Indexes>> KeyOfEntries(const CheckedTable& table, const CheckedDatabase& index);

/// True when most entries name records, each another one, as those of an index do.
bool HoldsEntries(const CheckedDatabase& index);

/// The index file made afresh; empty when none can be made of the key. An index that counts its key fields from 0 goes
/// on doing so.
/// @param told names the index and its key fields; the table and the key's length are put right
std::vector<char> FreshIndex(const CheckedTable& table, const CheckedDatabase& index, IndexDescription told);

}  // namespace vorne
