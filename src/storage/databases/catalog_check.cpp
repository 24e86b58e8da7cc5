#include "storage/databases/catalog_check.h"

#include <algorithm>
#include <string>

#include "storage/databases/catalog.h"
#include "storage/databases/database_files.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/format/names.h"

namespace vorne {

namespace {

bool isFree(UInt32 place) {
  return Load<UInt32>(rwCatalog->mapmem + place) == 0;
}

// True for an entry that names a file of this directory.
bool isThere(UInt32 place) {
  return !isFree(place) && IsDatabaseName(CatalogEntryName(place)) && !HasVanished(CatalogEntryName(place));
}

UInt32 firstSlotFrom(UInt32 used) {
  return used - (used - kHeaderSize) % kCatalogEntrySize;
}

// The end of the last entry from `used` on that names a file; `used` without one.
UInt32 endOfEntries(UInt32 used) {
  const auto size = static_cast<UInt32>(rwCatalog->szallocated);
  UInt32 end = used;
  for (UInt32 place = firstSlotFrom(used); place + kCatalogEntrySize <= size; place += kCatalogEntrySize)
    if (isThere(place)) end = place + kCatalogEntrySize;
  return end;
}

bool namesAFile(UInt32 used) {
  for (UInt32 place = kHeaderSize; place + kCatalogEntrySize <= used; place += kCatalogEntrySize)
    if (isThere(place)) return true;
  return false;
}

UInt32 usedSize() {
  return static_cast<UInt32>(std::clamp<std::int32_t>(rwCatalog->szmap, kHeaderSize, rwCatalog->szallocated));
}

// Only what is still there comes back.
void takeBackup() {
  if (RestoreCatalog() == 0) return;
  const UInt32 used = usedSize();
  for (UInt32 place = kHeaderSize; place + kCatalogEntrySize <= used; place += kCatalogEntrySize)
    if (!isFree(place) && !isThere(place)) ClearCatalogEntry(place);
  if (namesAFile(used)) Logar(Message("%s restaurado de %s", kCatalogName, kCatalogBackupName).c_str());
}

}  // namespace

void VerifyCatalogEntries() {
  const UInt32 used = usedSize(), end = endOfEntries(used);
  if (end != used) {
    Logar(Message("%s: tamanho usado corrigido de %lu para %lu", kCatalogName,
                  static_cast<unsigned long>(rwCatalog->szmap), static_cast<unsigned long>(end))
              .c_str());
    WriteUsedSize(rwCatalog, end);
  }
  if (!namesAFile(end)) takeBackup();
}

}  // namespace vorne
