#include "storage/databases/catalog.h"

#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <unordered_map>

#include "runtime/hooks.h"
#include "storage/databases/databases.h"
#include "storage/files/descriptor.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/files/unfinished_file.h"
#include "storage/journal/journal.h"
#include "storage/records/handles.h"

pmymap rwCatalog = nullptr;

namespace vorne {

namespace {

// ------------------------------------------------------------------------------------------------------- entries

UInt32 CatalogEnd() {
  return static_cast<UInt32>(std::min(rwCatalog->szmap, rwCatalog->szallocated));
}

bool IsFree(UInt32 place) {
  return Load<UInt32>(rwCatalog->mapmem + place) == 0;
}

bool IsNamed(UInt32 place, const std::string& folded) {
  return place + kCatalogEntrySize <= CatalogEnd() && !IsFree(place) && FoldedName(EntryName(place)) == folded;
}

// Where each name and each free slot is, so that no search reads the whole catalogue. Another process may have changed
// entries: what is found is looked at again before it is believed, and read anew when it is not so.
class Names {
 public:
  void forget() {
    end_ = 0;
    ++generation_;
  }
  UInt32 generation() const { return generation_; }

  UInt32 find(const std::string& folded) {
    refresh();
    auto found = places_.find(folded);
    if (found != places_.end() && !IsNamed(found->second, folded)) {
      read();
      found = places_.find(folded);
    }
    return found == places_.end() ? 0 : found->second;
  }

  UInt32 firstFree() {
    refresh();
    return free_.empty() ? 0 : *free_.begin();
  }

  void add(UInt32 place) {
    free_.erase(place);
    places_.emplace(FoldedName(EntryName(place)), place);
    end_ = CatalogEnd();
  }

  void remove(UInt32 place) {
    const auto found = places_.find(FoldedName(EntryName(place)));
    if (found != places_.end() && found->second == place) places_.erase(found);
  }

  void setFree(UInt32 place) { free_.insert(place); }

 private:
  // New entries take the first free slot or lengthen the catalogue, so this notices all of them.
  void refresh() {
    if (end_ != CatalogEnd() || (!free_.empty() && !IsFree(*free_.begin()))) read();
  }

  void read() {
    places_.clear();
    free_.clear();
    end_ = CatalogEnd();
    for (UInt32 place = kHeaderSize; end_ >= kCatalogEntrySize && place <= end_ - kCatalogEntrySize;
         place += kCatalogEntrySize) {
      if (IsFree(place))
        free_.insert(place);
      else
        places_.emplace(FoldedName(EntryName(place)), place);
    }
  }

  std::unordered_map<std::string, UInt32> places_;
  std::set<UInt32> free_;
  UInt32 end_ = 0, generation_ = 0;
};
Names names;

void FlushCatalog() {
  FlushViewOfFile(rwCatalog->mapmem, CatalogEnd());
}

// ----------------------------------------------------------------------------------------------------- directory

bool FindDirectory() {
  char working[PATH_MAX];
  if (::getcwd(working, sizeof working) == nullptr) return false;
  const std::string path = std::string(working) + "/DB";
  if (path.size() >= sizeof wcDir) return false;
  std::memcpy(wcDir, path.c_str(), path.size() + 1);
  CreateDirectory(wcDir);
  return true;
}

// -------------------------------------------------------------------------------------------------------- backup

std::string BackupPath() {
  return GetWideName(kCatalogBackupName);
}

long SizeOfFile(const std::string& path) {
  struct stat found;
  return fileSystem.stat(path.c_str(), &found) == 0 ? static_cast<long>(found.st_size) : -1;
}

// The first `size` bytes of a file; false when it has less.
bool ReadWhole(const std::string& path, char* bytes, std::size_t size) {
  const int file = OpenFile(path.c_str(), O_RDONLY | O_NONBLOCK);
  if (file < 0) return false;
  std::size_t done = 0;
  for (ssize_t n = 1; done < size && n > 0; done += static_cast<std::size_t>(std::max<ssize_t>(n, 0)))
    n = fileSystem.read(file, bytes + done, size - done);
  fileSystem.close(file);
  return done == size;
}

}  // namespace

UInt32 CatalogGeneration() {
  return names.generation();
}

UInt32 EntryOf(std::string_view name) {
  return names.find(FoldedName(name));
}

DatabaseHdrType EntryAt(UInt32 place) {
  return Load<DatabaseHdrType>(rwCatalog->mapmem + place);
}

std::string_view EntryName(UInt32 place) {
  const char* name = rwCatalog->mapmem + place;
  return {name, ::strnlen(name, kLongestName)};
}

void AddEntry(const DatabaseHdrType& entry) {
  const auto place = static_cast<UInt32>(rwCatalog->offset);
  char* at = rwCatalog->mapmem + place;
  const std::size_t first = sizeof(UInt32);
  std::memcpy(at + first, reinterpret_cast<const char*>(&entry) + first, sizeof entry - first);
  StoreBarrier();
  Store(at, Load<UInt32>(&entry));  // until here the slot counts as free
  rwCatalog->offset += static_cast<std::int32_t>(kCatalogEntrySize);
  FlushCatalog();
  names.add(place);
}

void ChangeEntry(UInt32 place, const DatabaseHdrType& entry, const std::function<bool()>& files) {
  const DatabaseHdrType before = EntryAt(place);
  names.remove(place);
  // The entry first: once a file has its new name, the entry tells it.
  StoreProtected(rwCatalog, place, kCatalogEntrySize, [&](char* at) {
    Store(at, entry);
    StoreBarrier();
    if (files && !files()) Store(at, before);
  });
  FlushCatalog();
  if (IsFree(place))
    names.setFree(place);
  else
    names.add(place);
}

void ClearEntry(UInt32 place) {
  names.remove(place);
  Store(rwCatalog->mapmem + place, UInt32{0});
  StoreBarrier();
  std::memset(rwCatalog->mapmem + place, 0, kCatalogEntrySize);
  FlushCatalog();
  names.setFree(place);
}

void SettleEntry(pmymap catalog, UInt32 place, const DatabaseHdrType& before) {
  const auto pathOf = [](const DatabaseHdrType& entry, const char* suffix = "") {
    return std::string(GetWideName((std::string(ShortName(entry.name)) + suffix).c_str()));
  };
  const auto hasVanished = [&](const DatabaseHdrType& entry) {
    struct stat found;
    return entry.name[0] == 0 || (fileSystem.stat(pathOf(entry).c_str(), &found) != 0 && errno == ENOENT);
  };
  auto now = Load<DatabaseHdrType>(catalog->mapmem + place);
  const auto isPath = [](const DatabaseHdrType& entry) { return ShortName(entry.name).find('/') != std::string::npos; };
  if (isPath(before) || isPath(now) || !hasVanished(before))
    now = before;
  else if (hasVanished(now))
    fileSystem.unlink(pathOf(before, kOffsetsSuffix).c_str()), now = {};
  else
    fileSystem.rename(pathOf(before, kOffsetsSuffix).c_str(), pathOf(now, kOffsetsSuffix).c_str());
  Store(catalog->mapmem + place, now);
}

}  // namespace vorne

using namespace vorne;

Err OpenCatalog() {
  if (rwCatalog != nullptr) return errNone;
  if (!MakeHandles() || !MakeOpenFiles()) {
    Logar(MemHandles == nullptr ? "falhou 1" : "falhou 2");
    FreeHandles();
    __RuntimeError(5, -1);
  }
  hooks.closeCatalogue = CloseCatalog;
  names.forget();
  if (FindDirectory()) {
    RecoverInterruptedChanges();
    rwCatalog = mapeararquivo(kCatalogName);
    // Tells a repair that the files are in use; databases open without it all the same.
    fileSystem.flock(rwCatalog->hFile, LOCK_SH | LOCK_NB);
  }
  if (rwCatalog != nullptr) return errNone;
  std::printf("falhou mapeamento %s ...", kCatalogName);
  FreeOpenFiles();
  FreeHandles();
  return errCatalogNotMapped;
}

void CloseCatalog() {
  if (rwCatalog != nullptr) {
    CloseDatabases();
    FlushCatalog();
    GerarCatalogBck();
    liberarmap(rwCatalog);
    rwCatalog = nullptr;
    CloseJournal();
  }
  FreeOpenFiles();
  FreeHandles();
  CloseDiagnosticLog();
}

int VerifyCatalog() {
  if (rwCatalog == nullptr) return 0;
  const long size = SizeOfFile(BackupPath());
  if (size < 0) return 1;
  std::string backup(static_cast<std::size_t>(rwCatalog->szallocated), '\0');
  return size == rwCatalog->szallocated && ReadWhole(BackupPath(), backup.data(), backup.size()) &&
         std::memcmp(backup.data(), rwCatalog->mapmem, backup.size()) == 0;
}

int RestoreCatalog() {
  const long size = rwCatalog == nullptr ? -1 : SizeOfFile(BackupPath());
  FileHeader header;
  if (size < static_cast<long>(kHeaderSize) || size > static_cast<long>(kLargestFile) ||
      !ReadWhole(BackupPath(), reinterpret_cast<char*>(&header), sizeof header))
    return 0;
  const long wanted = std::min(size, static_cast<long>(header.szallocated));
  if (wanted < static_cast<long>(kHeaderSize)) return 0;
  std::string backup(static_cast<std::size_t>(wanted), '\0');
  if (!ReadWhole(BackupPath(), backup.data(), backup.size())) return 0;
  if (wanted > rwCatalog->szallocated && !setfilesz(rwCatalog, wanted)) return 0;
  std::memcpy(rwCatalog->mapmem + kHeaderSize, backup.data() + kHeaderSize, backup.size() - kHeaderSize);
  rwCatalog->szmap = static_cast<std::int32_t>(std::clamp<long>(header.szmap, kHeaderSize, wanted));
  WriteUsedSize(rwCatalog, rwCatalog->szmap);
  FlushCatalog();
  names.forget();
  return 1;
}

void GerarCatalogBck() {
  if (rwCatalog == nullptr || (SizeOfFile(BackupPath()) >= 0 && VerifyCatalog())) return;
  // Written beside it and put in its place, so that there is always a whole backup.
  UnfinishedFile copy(GetWideName(kUnfinishedName));
  copy.put(rwCatalog->mapmem, static_cast<std::size_t>(rwCatalog->szallocated));
  copy.become(BackupPath(), UnfinishedFile::Wait::No);
}

void __PositionOnFirstNullCatalog(const char* name) {
  if (rwCatalog == nullptr || name == nullptr) return;
  UInt32 place = EntryOf(ShortName(name));
  if (place == 0) place = names.firstFree();
  if (place == 0) {
    if (rwCatalog->szmap < static_cast<std::int32_t>(kHeaderSize)) WriteUsedSize(rwCatalog, kHeaderSize);
    // Behind the last whole slot: an entry anywhere else would never be found.
    const UInt32 cut = (static_cast<UInt32>(rwCatalog->szmap) - kHeaderSize) % kCatalogEntrySize;
    if (!EnsureRoom(rwCatalog, kCatalogEntrySize)) GrowthFailure(*rwCatalog);
    place = static_cast<UInt32>(rwCatalog->szmap) - cut;
    std::memset(rwCatalog->mapmem + place, 0, kCatalogEntrySize);
    increasefilesz(rwCatalog, static_cast<long>(kCatalogEntrySize - cut));
  }
  rwCatalog->offset = static_cast<std::int32_t>(place);
}
