// The copy of the catalogue, as it was when it was last closed. Written when the catalogue is closed and differs from
// it. A catalogue that has lost what it named is restored from it.
#include <algorithm>
#include <cstring>
#include <string>

#include "storage/databases/catalog.h"
#include "storage/files/descriptor.h"
#include "storage/files/mapped_file.h"
#include "storage/files/unfinished_file.h"

using namespace vorne;

namespace {

std::string backupPath() {
  return GetWideName(kCatalogBackupName);
}

long sizeOfFile(const std::string& path) {
  struct stat found;
  return fileSystem.stat(path.c_str(), &found) == 0 ? static_cast<long>(found.st_size) : -1;
}

// The first `size` bytes of a file; false when it has less.
bool readWhole(const std::string& path, char* bytes, std::size_t size) {
  const int file = OpenFile(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (file < 0) return false;
  std::size_t done = 0;
  for (ssize_t n = 1; done < size && n > 0; done += static_cast<std::size_t>(std::max<ssize_t>(n, 0)))
    n = fileSystem.read(file, bytes + done, size - done);
  fileSystem.close(file);
  return done == size;
}

}  // namespace

namespace vorne {

std::vector<DatabaseHdrType> BackupEntries() {
  const long size = std::clamp<long>(sizeOfFile(backupPath()), 0, kLargestFile);
  std::string backup(static_cast<std::size_t>(size), '\0');
  std::vector<DatabaseHdrType> entries;
  if (!readWhole(backupPath(), backup.data(), backup.size())) return entries;
  for (std::size_t place = kHeaderSize; place + kCatalogEntrySize <= backup.size(); place += kCatalogEntrySize)
    entries.push_back(Load<DatabaseHdrType>(backup.data() + place));
  return entries;
}

}  // namespace vorne

int VerifyCatalog() {
  if (rwCatalog == nullptr) return 0;
  const long size = sizeOfFile(backupPath());
  // None was made yet: nothing speaks against the catalogue.
  if (size < 0) return 1;
  std::string backup(static_cast<std::size_t>(rwCatalog->szallocated), '\0');
  return size == rwCatalog->szallocated && readWhole(backupPath(), backup.data(), backup.size()) &&
         std::memcmp(backup.data(), rwCatalog->mapmem, backup.size()) == 0;
}

int RestoreCatalog() {
  const long size = rwCatalog == nullptr ? -1 : sizeOfFile(backupPath());
  FileHeader header;
  if (size < static_cast<long>(kHeaderSize) || size > static_cast<long>(kLargestFile) ||
      !readWhole(backupPath(), reinterpret_cast<char*>(&header), sizeof header))
    return 0;
  const long wanted = std::min(size, static_cast<long>(header.szallocated));
  if (wanted < static_cast<long>(kHeaderSize)) return 0;
  std::string backup(static_cast<std::size_t>(wanted), '\0');
  if (!readWhole(backupPath(), backup.data(), backup.size())) return 0;
  if (wanted > rwCatalog->szallocated && !setfilesz(rwCatalog, wanted)) return 0;
  std::memcpy(rwCatalog->mapmem + kHeaderSize, backup.data() + kHeaderSize, backup.size() - kHeaderSize);
  // Entries that the backup does not have would be found behind its end.
  std::memset(rwCatalog->mapmem + wanted, 0, static_cast<std::size_t>(rwCatalog->szallocated - wanted));
  rwCatalog->szmap = static_cast<std::int32_t>(std::clamp<long>(header.szmap, kHeaderSize, wanted));
  WriteUsedSize(rwCatalog, rwCatalog->szmap);
  FlushCatalog();
  ForgetCatalogNames();
  return 1;
}

void GerarCatalogBck() {
  if (rwCatalog == nullptr || (sizeOfFile(backupPath()) >= 0 && VerifyCatalog())) return;
  // Written beside it and put in its place, so that there is always a whole backup.
  UnfinishedFile copy(GetWideName(kUnfinishedName));
  copy.put(rwCatalog->mapmem, static_cast<std::size_t>(rwCatalog->szallocated));
  copy.become(backupPath(), UnfinishedFile::Wait::No);
}
