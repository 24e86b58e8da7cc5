// Two kinds of damage are put right here, since programs would lose sight of whole databases by them: a used size that
// cuts entries off, and a catalogue that names no file any more while its backup does.
#include "storage/databases/catalog_check.h"

#include <sys/file.h>

#include <algorithm>
#include <string>

#include "storage/databases/catalog.h"
#include "storage/databases/database_files.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/files/patient_lock.h"
#include "storage/files/system.h"
#include "storage/format/names.h"

namespace vorne {

namespace {

// True for an entry that names a file of this directory.
bool isThere(const DatabaseHdrType& entry) {
  return Load<UInt32>(&entry) != 0 && IsDatabaseName(NameOf(entry)) && !HasVanished(NameOf(entry));
}

UInt32 firstSlotFrom(UInt32 used) {
  // Where a damaged end lies within a slot, that slot is looked at too.
  return used - (used - kHeaderSize) % kCatalogEntrySize;
}

// The end of the last entry from `used` on that names a file; `used` without one.
UInt32 endOfEntries(UInt32 used) {
  const auto size = static_cast<UInt32>(rwCatalog->szallocated);
  UInt32 end = used;
  for (UInt32 place = firstSlotFrom(used); place + kCatalogEntrySize <= size; place += kCatalogEntrySize)
    if (isThere(CatalogEntryAt(place))) end = place + kCatalogEntrySize;
  return end;
}

bool namesAFile(UInt32 used) {
  for (UInt32 place = kHeaderSize; place + kCatalogEntrySize <= used; place += kCatalogEntrySize)
    if (isThere(CatalogEntryAt(place))) return true;
  return false;
}

UInt32 usedSize() {
  return static_cast<UInt32>(std::clamp<std::int32_t>(rwCatalog->szmap, kHeaderSize, rwCatalog->szallocated));
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
  if (namesAFile(end)) return;
  // What the backup names and is gone stays among its entries: it tells a check what is lost.
  const std::vector<DatabaseHdrType> before = BackupEntries();
  if (std::none_of(before.begin(), before.end(), isThere)) return;
  // Another program may just be renaming or deleting the only one.
  const bool isAlone = fileSystem.flock(rwCatalog->hFile, LOCK_EX | LOCK_NB) == 0;
  if (isAlone && RestoreCatalog() != 0) Logar(Message("%s restaurado de %s", kCatalogName, kCatalogBackupName).c_str());
  // Back to the lock that tells a repair of a program, which OpenCatalog has taken.
  LockPatiently(rwCatalog->hFile, LOCK_SH);
}

}  // namespace vorne
