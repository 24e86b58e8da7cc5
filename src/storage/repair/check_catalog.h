// The catalogue held against its backup and the files of the directory, and as it ought to be.
#pragma once

#include "storage/repair/data_directory.h"
#include "storage/repair/findings.h"

namespace vorne {

/// All slots of the catalogue, free ones included, just as they stand.
std::vector<DatabaseHdrType> CatalogEntries(const RawFile& catalog);

struct CatalogState {
  std::vector<DatabaseHdrType> slots;   ///< as they ought to be; free ones are zero
  bool rewrite = false;                 ///< the catalogue must be written anew
  bool complete = true;                 ///< what may be written is all that there is
  std::vector<std::string> extraNames;  ///< second names (hard links) of data files: one file cannot be two databases
  std::vector<DatabaseHdrType> gone;    ///< entries whose data files are missing
  std::vector<std::string> orphans;     ///< offsets files whose databases are missing, by the databases' names
  std::uint64_t lostEntries = 0;        ///< that name nothing, beyond those whose files were found
  std::map<std::string, std::string> unread;  ///< files that may be databases and could not be looked at, and why
  std::map<std::string, std::string> links;   ///< symbolic links without an entry, by their folded names
};

/// @param catalog the catalogue's file, without bytes when there is none
/// @param report takes the notes about files that belong to no database
CatalogState CheckCatalog(const DataDirectory& directory, const RawFile& catalog, Findings& findings,
                          DirectoryReport& report);

/// True when one is the other with a letter or two changed, as damage leaves it.
bool IsAlike(const std::string& a, const std::string& b);

/// The entry of a database that is being put into the catalogue.
DatabaseHdrType NewEntry(const std::string& name, std::uint32_t type);

std::vector<char> RepairedCatalog(const RawFile& catalog, const CatalogState& state);

}  // namespace vorne
