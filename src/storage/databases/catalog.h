// Inside the storage floor: the entries of the catalogue.
#pragma once

#include <functional>
#include <string_view>
#include <vector>

#include "storage/vornerdd.h"

namespace vorne {

/// Another number whenever the catalogue has been opened or put back: what is known of its entries counts no longer.
UInt32 CatalogGeneration();
/// The place of the entry with that name, 0 for none. Takes the same time however many entries there are.
UInt32 CatalogEntryOf(std::string_view name);
DatabaseHdrType CatalogEntryAt(UInt32 place);
/// The name in the entry at `place`, at most 31 bytes.
std::string_view CatalogEntryName(UInt32 place);
/// Puts a new entry where rwCatalog->offset points; it counts with the last store.
void AddCatalogEntry(const DatabaseHdrType& entry);
/// Changes an entry as a whole. `files` renames or removes the database's files; when it returns false, the entry
/// stays.
void ChangeCatalogEntry(UInt32 place, const DatabaseHdrType& entry, const std::function<bool()>& files = {});
/// Frees the entry at `place`, whose database has no file.
void ClearCatalogEntry(UInt32 place);

/// The entries of the backup, free ones included.
std::vector<DatabaseHdrType> BackupEntries();

/// Asks the system to write the catalogue.
void FlushCatalog();
/// Forgets where the entries are, since all of them may have changed.
void ForgetCatalogNames();

}  // namespace vorne
