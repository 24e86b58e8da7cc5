// Called before anything else of the directory is mapped. A journal that is not sound, or whose file has changed in
// ways that the change cannot explain, is given up without touching anything: wrong bytes put back are worse than a
// half-made change, which the openings of the files notice.
#include "storage/journal/recovery.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "storage/files/descriptor.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/files/patient_lock.h"
#include "storage/format/names.h"
#include "storage/journal/journal_file.h"

namespace vorne {

namespace {

// A header is stored field by field: each may be the old or the new one.
bool isBetween(const FileHeader& now, const FileHeader& before, const FileHeader& after) {
  const auto either = [](UInt32 value, UInt32 a, UInt32 b) { return value == a || value == b; };
  return either(now.szmap, before.szmap, after.szmap) &&
         either(now.NumberOfRecords, before.NumberOfRecords, after.NumberOfRecords) &&
         either(now.AppInfoLen, before.AppInfoLen, after.AppInfoLen);
}

bool isNamed(const UnderWay& change) {
  return std::memchr(change.name, 0, sizeof change.name) != nullptr && IsFileName(change.name);
}

// A journal is bytes from outside like any other file.
bool isSound(const JournalFile& file) {
  const UnderWay& change = file.underWay;
  if (file.magic != kJournalMagic || (file.state != kBytesKept && file.state != kMoving)) return false;
  if (change.check != Sum(&change, offsetof(UnderWay, check)) || !isNamed(change)) return false;
  if (file.state == kBytesKept)
    return change.length <= kLargestProtected && change.keptCheck == Sum(file.room, change.length);
  if (change.infoLength > kLargestProtected || change.infoLength > change.after.AppInfoLen ||
      change.keptCheck != Sum(file.info, change.infoLength))
    return false;
  const UInt32 chunk = ChunkOf(change);
  const std::uint64_t chunks = (static_cast<std::uint64_t>(change.length) + chunk - 1) / chunk;
  // Room for two chunks, and no more of them told as saved than the move has: copying goes by these numbers.
  return chunk <= kChunk && file.chunks <= chunks && change.from <= change.end &&
         change.length == change.end - change.from;
}

bool fitsInto(const JournalFile& file, const mymap& map) {
  const UnderWay& change = file.underWay;
  const auto size = static_cast<std::uint32_t>(map.szallocated);
  // The journal and the file may be of different days: every place is held against the file that is there now.
  const auto inside = [size](UInt32 place, UInt32 length) { return length <= size && place <= size - length; };
  if (!inside(change.from, change.length) || change.from < kHeaderSize) return false;
  if (file.state == kBytesKept) return isBetween(HeaderOf(map), change.before, change.before);
  return isBetween(HeaderOf(map), change.before, change.after) && inside(change.to, change.length) &&
         change.end <= size && change.after.szmap <= size && change.to >= kHeaderSize &&
         inside(change.patchAt, sizeof change.patch) && inside(kHeaderSize, change.infoLength);
}

bool exists(const char* path) {
  struct stat found;
  return fileSystem.stat(path, &found) == 0 && S_ISREG(found.st_mode);
}

[[noreturn]] void recoveryFailure(const char* name) {
  StorageFailure(Message("falhou abertura do arquivo %s %s", name, __MemoryReport()).c_str());
}

// What cannot be looked at just now must not be passed over: going on would make the half-way state last.
bool isThere(const char* path) {
  struct stat found;
  if (fileSystem.stat(path, &found) == 0) return S_ISREG(found.st_mode);
  if (errno != ENOENT) recoveryFailure(path);
  return false;
}

// True when every byte is one that the change began with or was to leave: of others another program has stored more
// since. Journals of early versions do not tell what it was to leave.
bool isOurs(const JournalFile& file, const mymap& map) {
  const UnderWay& change = file.underWay;
  if (change.infoLength != change.length) return true;
  const char* now = map.mapmem + change.from;
  for (UInt32 i = 0; i < change.length; ++i)
    if (now[i] != file.room[i] && now[i] != file.info[i]) return false;
  return true;
}

// A move stores the header last: with the new one it was done, and what it moved may have changed since.
bool isMoved(const UnderWay& change, const mymap& map) {
  const FileHeader now = HeaderOf(map);
  return isBetween(now, change.after, change.after) && !isBetween(now, change.before, change.before);
}

void restore(const JournalFile& file, pmymap map) {
  std::memcpy(map->mapmem + file.underWay.from, file.room, file.underWay.length);
}

// The offsets file of that data file, unless the name is another database's.
void removeOffsets(const mymap& map) {
  const std::string name = OffsetsName(map.cfile);
  if (HeaderOf(map).Type != kVariableDatabase || HeaderInFile(name).value_or(FileHeader{}).Type != 0) return;
  if (fileSystem.unlink(GetWideName(name.c_str())) != 0 && errno != ENOENT) recoveryFailure(name.c_str());
}

bool hasEntry(const mymap& catalog, const std::string& name) {
  const auto end = static_cast<UInt32>(std::min(catalog.szmap, catalog.szallocated));
  for (UInt32 place = kHeaderSize; place + kCatalogEntrySize <= end; place += kCatalogEntrySize)
    if (FoldedName(NameOf(Load<DatabaseHdrType>(catalog.mapmem + place))) == FoldedName(name)) return true;
  return false;
}

// Lets the offsets file follow the data file from one name to the other (empty: it is gone), where it is one: under
// such a name another database may stand. Where it cannot follow it goes, since an opening makes it anew.
void followData(const mymap& catalog, const std::string& from, const std::string& to) {
  const auto isOffsetsFile = [&](const std::string& name) {
    const std::optional<FileHeader> header = HeaderInFile(name);
    return header && header->Type == 0 && !hasEntry(catalog, name);
  };
  const std::string before = OffsetsName(from), after = OffsetsName(to);
  if (!isOffsetsFile(before)) return;
  const std::string path = GetWideName(before.c_str()), newPath = GetWideName(after.c_str());
  if (!to.empty() && (!isThere(newPath.c_str()) || isOffsetsFile(after)))
    fileSystem.rename(path.c_str(), newPath.c_str());
  else
    fileSystem.unlink(path.c_str());
}

// An entry of an unopened catalogue in whose change, from `before`, a process died: finishes it when the data file has
// its new name already or is gone, else undoes it.
void settleCatalogEntry(pmymap catalog, UInt32 place, const DatabaseHdrType& before) {
  const auto hasVanished = [](const DatabaseHdrType& entry) {
    struct stat found;
    return entry.name[0] == 0 || (fileSystem.stat(GetWideName(NameOf(entry).c_str()), &found) != 0 && errno == ENOENT);
  };
  auto now = Load<DatabaseHdrType>(catalog->mapmem + place);
  const auto isStrange = [](const DatabaseHdrType& entry) { return entry.name[0] != 0 && !IsFileName(NameOf(entry)); };
  // While the old file is there, nothing was renamed or deleted yet. Names that no file can have are not followed at
  // all.
  if (isStrange(before) || isStrange(now) || !hasVanished(before))
    now = before;
  else if (hasVanished(now))
    followData(*catalog, NameOf(before), {}), now = {};
  else
    followData(*catalog, NameOf(before), NameOf(now));
  Store(catalog->mapmem + place, now);
}

void recover(JournalFile& file) {
  const UnderWay& change = file.underWay;
  if (!isSound(file) || !isThere(GetWideName(change.name))) return;
  const MapOwner map(mapeararquivo(change.name));
  // Another file may stand under this name by now, from a copy or a repair: what the journal keeps is none of its
  // bytes.
  if (!fitsInto(file, *map)) return;
  if (file.state == kMoving) {
    if (!isMoved(change, *map)) FinishMove(file, map.get());
  } else if (!isOurs(file, *map)) {
    return;
  } else if (change.name == std::string_view(kCatalogName) && change.length == kCatalogEntrySize) {
    settleCatalogEntry(map.get(), change.from, Load<DatabaseHdrType>(file.room));
  } else {
    restore(file, map.get());
  }
  if (change.offsetsFollow != 0) removeOffsets(*map);
}

// A journal file that belonged to a process that has died, mapped; it goes with the object.
class DeadJournal {
 public:
  explicit DeadJournal(const std::string& path) : file_(OpenFile(path.c_str(), O_RDWR)) {
    struct stat found;
    failure_ = errno;
    if (file_ < 0) return;
    // Patiently: taken for a living one's, its change would stay half-done.
    const bool claimed = LockPatiently(file_, LOCK_EX);
    failure_ = claimed ? 0 : errno;
    if (!claimed) return;
    // Who had it may have let it go meanwhile, and another may have made one of that name.
    errno = 0;
    if (!IsStill(file_, path) || ::fstat(file_, &found) != 0) {
      failure_ = errno;
      return;
    }
    isEmpty_ = found.st_size == 0;
    if (found.st_size != static_cast<off_t>(sizeof(JournalFile))) return;
    at_ = MapJournal(file_);
    if (at_ == nullptr) failure_ = errno;
  }
  ~DeadJournal() {
    if (at_ != nullptr) fileSystem.munmap(at_, sizeof(JournalFile));
    if (file_ >= 0) fileSystem.close(file_);
  }
  DeadJournal(const DeadJournal&) = delete;
  DeadJournal& operator=(const DeadJournal&) = delete;

  JournalFile* get() const { return at_; }
  /// True for one whose process died in the instant in which it made it.
  bool isEmpty() const { return isEmpty_; }
  /// False for one that this process cannot read just now, though it could another time.
  bool isKnown() const {
    return failure_ == 0 || failure_ == EWOULDBLOCK || failure_ == ENOENT || failure_ == EACCES || failure_ == EPERM;
  }

 private:
  int file_;
  int failure_ = 0;
  bool isEmpty_ = false;
  JournalFile* at_ = nullptr;
};

}  // namespace

void RecoverInterruptedChanges() {
  for (const std::string_view name : kJournalNames) {
    const std::string path = JournalPath(wcDir, name);
    if (!isThere(path.c_str())) continue;
    const DeadJournal dead(path);
    if (!dead.isKnown()) recoveryFailure(path.c_str());
    if (dead.isEmpty()) fileSystem.unlink(path.c_str());
    if (dead.get() == nullptr) continue;
    // The journal is given up behind the work: who dies in a recovery leaves it to the next one, which goes on.
    recover(*dead.get());
    // One that is idle may have no space on the disk to store that in.
    if (dead.get()->state != kIdle) End(*dead.get());
    Spare(path);
  }
}

std::vector<std::string> InterruptedChanges(const char* directory) {
  std::vector<std::string> names;
  for (const std::string_view name : kJournalNames) {
    const std::string path = JournalPath(directory, name);
    if (!exists(path.c_str())) continue;
    const DeadJournal dead(path);
    if (dead.get() != nullptr && isSound(*dead.get())) names.emplace_back(dead.get()->underWay.name);
  }
  return names;
}

}  // namespace vorne
