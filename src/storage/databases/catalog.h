// Inside the storage floor: the entries of the catalogue.
#pragma once

#include <functional>
#include <string_view>

#include "storage/vornerdd.h"

namespace vorne {

/// Another number whenever the catalogue has been opened or put back: what is known of its entries counts no longer.
UInt32 CatalogGeneration();
/// The place of the entry with that name, 0 for none. Takes the same time however many entries there are.
UInt32 EntryOf(std::string_view name);
DatabaseHdrType EntryAt(UInt32 place);
/// The name in the entry at `place`, at most 31 bytes.
std::string_view EntryName(UInt32 place);
/// Puts a new entry where rwCatalog->offset points; it counts with the last store.
void AddEntry(const DatabaseHdrType& entry);
/// Changes an entry as a whole. `files` renames or removes the database's files; when it returns false, the entry
/// stays.
void ChangeEntry(UInt32 place, const DatabaseHdrType& entry, const std::function<bool()>& files = {});
/// Frees the entry at `place`, whose database has no file.
void ClearEntry(UInt32 place);
/// An entry of an unopened catalogue in whose change, from `before`, a process died: finishes it when the data file
/// has its new name already or is gone, else undoes it.
void SettleEntry(pmymap catalog, UInt32 place, const DatabaseHdrType& before);

}  // namespace vorne
