// The catalogue held against its backup and the files of the directory, and as it ought to be.
#pragma once

#include "storage/repair/data_directory.h"
#include "storage/repair/findings.h"

namespace vorne {

/// The slots that the catalogue uses by its header, free ones included, just as they stand.
std::vector<DatabaseHdrType> CatalogEntries(const RawFile& catalog);

struct CatalogState {
  std::vector<DatabaseHdrType> slots;   ///< as they ought to be; free ones are zero
  bool rewrite = false;                 ///< the catalogue must be written anew
  std::vector<std::string> extraNames;  ///< second names (hard links) of data files: one file cannot be two databases
};

/// @param catalog the catalogue's file, without bytes when there is none
/// @param report takes the notes about files that belong to no database
CatalogState CheckCatalog(const DataDirectory& directory, const RawFile& catalog, Findings& findings,
                          DirectoryReport& report);

std::vector<char> RepairedCatalog(const RawFile& catalog, const CatalogState& state);

}  // namespace vorne
