// One database's files held against each other, and the files as they ought to be.
#pragma once

#include "storage/repair/data_directory.h"
#include "storage/repair/salvage.h"

namespace vorne {

struct DatabaseFiles {
  RawFile data;
  RawFile offsets;  ///< without bytes when there is none, or it cannot be read
};

struct DatabaseState {
  DatabaseKind kind = kFixedDatabase;
  Records records;
  bool rewriteOffsets = false;  ///< records.rewrite says it of the data file
};

/// @param type the database's type code in the catalogue
DatabaseState CheckDatabase(std::uint32_t type, const DatabaseFiles& files, Findings& data, Findings& offsets);

/// What there is to tell about a database.
DatabaseReport ReportOf(const DatabaseHdrType& entry, const DatabaseFiles& files, const DatabaseState& state);

/// The application information as it ought to be.
FileBytes SavedBlock(const DatabaseFiles& files, const Records& records);
/// A database of a kind without records, as it is made.
std::vector<char> EmptyDatabase(DatabaseKind kind);
/// The data file with the records that can be saved, one behind the other.
std::vector<char> RepairedData(const DatabaseFiles& files, const DatabaseState& state);
/// The offsets file that belongs to a data file made by RepairedData, or to one that needs no repair.
std::vector<char> RepairedOffsets(const DatabaseFiles& files, const DatabaseState& state);

}  // namespace vorne
