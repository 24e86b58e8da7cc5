// Tables as programs understand them: the description, and every record's fields by it.
#pragma once

#include "storage/format/description.h"
#include "storage/repair/check_database.h"

namespace vorne {

/// What there is of a table beside its own files.
struct TableContext {
  std::string name;         ///< of its database
  bool hasOthers = false;   ///< a memo database or an index that holds something belongs to it
  bool hasMemo = false;     ///< the memo database is there
  std::uint32_t texts = 0;  ///< in it
  std::size_t entries = 0;  ///< of the index that tells of most records
  std::string witness;      ///< its name
  std::string copies;       ///< a directory with files as they were, one of this name among them; empty without any
};

/// Texts of a memo database that cannot be looked at: there may be any number of them.
inline constexpr std::uint32_t kAnyTexts = ~0u;

/// "; ..." to be put behind what is told of a database that the directory holds a copy of; empty without one.
std::string CopiesWords(const std::string& copies);

struct TableMeaning {
  std::optional<TableDescription> description;  ///< none when the database is no table, or one that has lost it
  bool lacksMemo = false;                       ///< fields refer to a memo database that is not there
  std::uint64_t lostValues = 0;
};

/// @param files of a database of type DATA, `state` what was found of its records; what can be put right is, in `state`
/// @param data takes what is put right, `lasting` what is not
TableMeaning CheckTable(const TableContext& context, const DatabaseFiles& files, DatabaseState& state, Findings& data,
                        Findings& lasting);

/// Lets what else tells of a damaged table's records count: those that are neither there nor counted as lost yet are.
/// @param findings takes it, should there be any
/// @returns memo texts that no record is left to name
std::uint64_t CountByOthers(const TableContext& context, bool isDescribed, Records& records, Findings& findings);

/// How the records fit a description.
struct Fit {
  std::uint64_t misfits = 0;  ///< records with anything wrong
  std::string first;          ///< the first of them in words
  bool isLikely = true;       ///< false when it is the description that is wrong, rather than the records
};
Fit FitOf(const TableDescription& table, const DatabaseFiles& files, const DatabaseState& state, std::uint32_t texts);

}  // namespace vorne
