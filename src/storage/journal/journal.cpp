// A process has one journal from its first change until its catalogue is closed. Making a change is: what it needs is
// kept in the file, Begin(), the stores, End(). Nothing here waits for the disk: the file is shared memory, which
// outlives the process but not a power loss.
#include "storage/journal/journal.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>
#include <utility>

#include "storage/files/descriptor.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/journal/journal_file.h"

namespace vorne {

namespace {

constexpr UInt32 kPage = 4096;
// What readers wish for comes from a file that others can write: a cash desk stands still no longer than this.
constexpr UInt32 kLongestPause = 100'000;  // microseconds

struct OpenJournal {
  // -1 and null together: none is open, or both are.
  int file = -1;
  JournalFile* at = nullptr;
  std::string path;
  pid_t owner = 0;            // a forked process must leave it to this one
  UInt32 room = 0, info = 0;  // bytes that have space
};
OpenJournal journal;

// Space for so many bytes of both; whole pages, so that it is rarely asked for.
bool reserve(UInt32 room, UInt32 info) {
  if (room <= journal.room && info <= journal.info) return true;
  // Space before it is touched: a store into a hole of a full disk would be a signal that ends the host.
  const auto reserveFrom = [](std::size_t begin, UInt32& has, UInt32 wanted) {
    wanted = std::min((wanted + kPage - 1) / kPage * kPage, kLargestProtected);
    const auto at = static_cast<std::int64_t>(begin);
    if (wanted <= has) return true;
    if (!ReserveSpace(journal.file, at + has, at + wanted)) return false;
    has = wanted;
    return true;
  };
  return reserveFrom(offsetof(JournalFile, room), journal.room, room) &&
         reserveFrom(offsetof(JournalFile, info), journal.info, info);
}

// The file of that name, locked; -1 when it cannot be had. Whoever had it may have let it go under another name.
int claimFile(const std::string& path, int flags) {
  const int file = OpenFile(path.c_str(), flags, 0660);
  // Between opening and locking another process may have given the file up under that name.
  if (file < 0 || (Claim(file) && IsStill(file, path))) return file;
  fileSystem.close(file);
  return -1;
}

// True for the journal of a process that died inside a change. The next opening of the catalogue finishes that change;
// until then nobody may write over what it needs.
bool isNeeded(int file) {
  struct stat found;
  JournalHead head;
  const bool whole = ::fstat(file, &found) == 0 && found.st_size == static_cast<off_t>(sizeof(JournalFile)) &&
                     fileSystem.pread(file, &head, sizeof head, 0) == static_cast<ssize_t>(sizeof head);
  if (!whole || head.magic != kJournalMagic || head.state == kIdle) return false;
  errno = EBUSY;
  return true;
}

// The spare journal in the place of the one at `path`, which is ours; -1 when there is none.
int takeSpare(const std::string& path) {
  const std::string name = JournalPath(wcDir, kSpareJournalName);
  const int spare = claimFile(name, O_RDWR);
  if (spare < 0) return -1;
  if (!isNeeded(spare) && fileSystem.rename(name.c_str(), path.c_str()) == 0 && IsStill(spare, path)) return spare;
  fileSystem.close(spare);
  return -1;
}

// Mapped, with nothing in it; null when that cannot be. One of which not even the head has space would be a danger to
// whoever looks at it. What has space keeps it.
JournalFile* mapEmpty(int file) {
  if (fileSystem.ftruncate(file, sizeof(JournalFile)) != 0 || !ReserveSpace(file, 0, offsetof(JournalFile, room)))
    return nullptr;
  JournalFile* at = MapJournal(file);
  if (at != nullptr) std::memset(static_cast<void*>(at), 0, offsetof(JournalFile, room));
  return at;
}

bool openJournal(const std::string& path) {
  int file = claimFile(path, O_RDWR | O_CREAT);
  if (file < 0) return false;
  if (isNeeded(file)) return fileSystem.close(file), false;
  // The spare one has space on a disk that may be full by now. The lock on the one that was opened is held until it has
  // taken its name.
  const int spare = takeSpare(path);
  if (spare >= 0) fileSystem.close(std::exchange(file, spare));
  // A spare one that another process left just then may have come in the place of both.
  if (!IsStill(file, path)) return fileSystem.close(file), false;
  JournalFile* at = mapEmpty(file);
  if (at == nullptr) {
    const int failure = errno;
    if (spare >= 0)
      Spare(path);
    else
      fileSystem.unlink(path.c_str());
    fileSystem.close(file);
    errno = failure;
    return false;
  }
  timespec now = {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  // Readers tell by it that a counter which begins anew is no counter that stood still.
  at->session = static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
  // Last: without it nobody believes the rest.
  at->magic = kJournalMagic;
  journal = {file, at, path, ::getpid()};
  // Room for every move at once, else for what is small: files that grow cannot take it then.
  if (!reserve(kLargestProtected, kPage)) reserve(kPage, kPage);
  return true;
}

[[noreturn]] void journalFailure(std::size_t bytes) {
  FileFailure(Message("falhou abertura do arquivo %s %s", "journal", __MemoryReport()), "journal",
              static_cast<std::int64_t>(bytes));
}

bool openAnyJournal() {
  // The first one that nobody else has: several processes may work in one directory, and a dead one's that is still
  // needed is left alone.
  for (const std::string_view name : kJournalNames)
    if (journal.at == nullptr) openJournal(JournalPath(wcDir, name));
  return journal.at != nullptr;
}

JournalFile& ownJournal() {
  if (journal.at == nullptr && !openAnyJournal()) journalFailure(offsetof(JournalFile, room));
  return *journal.at;
}

JournalFile& ownJournal(UInt32 room, UInt32 info) {
  JournalFile& file = ownJournal();
  if (!reserve(room, info)) journalFailure(std::size_t{room} + info);
  return file;
}

// For a move, which is made in smaller pieces where the disk has less space than they want: the least of them is told.
JournalFile& journalForMove(UInt32 length, UInt32 info, UInt32& chunk) {
  JournalFile& file = ownJournal(std::min(length, kPage), info);
  const UInt32 wanted = std::min(length, kLargestProtected);
  chunk = reserve(wanted, info) ? 0 : journal.room / 2;
  return file;
}

// A name that is longer than a database's is cut: no such file is found then, and nothing is recovered in another one.
void setName(UnderWay& change, const mymap& map) {
  std::memcpy(change.name, map.cfile, ::strnlen(map.cfile, sizeof change.name - 1));
}

}  // namespace

ProtectedMove::ProtectedMove(pmymap map, const TailMove& move) : exceptions_(std::uncaught_exceptions()) {
  const UInt32 length = static_cast<UInt32>(map->szmap) - move.from;
  UnderWay change = {};
  JournalFile& file = journalForMove(length, static_cast<UInt32>(move.info.size()), change.chunk);
  setName(change, *map);
  change.before = HeaderOf(*map);
  change.after = move.after;
  change.from = move.from;
  change.to = move.to;
  change.end = static_cast<UInt32>(map->szmap);
  change.length = length;
  change.patchAt = move.patchAt;
  change.patch = move.patch;
  change.offsetsFollow = move.offsetsFollow;
  change.infoLength = static_cast<UInt32>(move.info.size());
  if (!move.info.empty()) std::memcpy(file.info, move.info.data(), move.info.size());
  change.keptCheck = Sum(file.info, change.infoLength);
  // All that makes the move is known here: killed behind Begin() it is finished by the next opening, before it it is
  // not begun.
  file.underWay = change;
  Begin(file, kMoving);
  FinishMove(file, map);
}

ProtectedMove::~ProtectedMove() {
  // Not by an exception: what follows the move in the same change has not been done then, and the next opening finishes
  // it.
  if (journal.at != nullptr && std::uncaught_exceptions() == exceptions_) End(*journal.at);
}

bool HasJournal() {
  return openAnyJournal() && reserve(1, 1);
}

char* RoomForBytes(UInt32 length) {
  return ownJournal(length, length).info;
}

void KeepBytes(pmymap map, UInt32 offset, UInt32 length) {
  JournalFile& file = ownJournal(length, length);
  UnderWay& change = file.underWay;
  change = {};
  setName(change, *map);
  change.before = HeaderOf(*map);
  change.from = offset;
  change.length = length;
  change.infoLength = length;
  // The old bytes. The new ones are in `info` already (RoomForBytes), by which recovery tells whether the bytes in the
  // file are still of this change.
  std::memcpy(file.room, map->mapmem + offset, length);
  change.keptCheck = Sum(file.room, length);
  Begin(file, kBytesKept);
}

void BytesAreStored() {
  End(*journal.at);
}

namespace {

void letReadersIn(JournalFile& file) {
  const UInt32 wish = __atomic_exchange_n(&file.readersWait, 0, __ATOMIC_RELAXED);
  const timespec pause = {0, static_cast<long>(std::min(wish, kLongestPause)) * 1000};
  ::nanosleep(&pause, nullptr);
}

}  // namespace

int ChangeSeenByReaders::depth_ = 0;

ChangeSeenByReaders::ChangeSeenByReaders() {
  if (depth_ == 0) {
    JournalFile& file = ownJournal();
    // A writer without a pause would keep them out for ever.
    if (__atomic_load_n(&file.readersWait, __ATOMIC_RELAXED) != 0) letReadersIn(file);
    // Odd from here on, also when a process that had this file before left it odd. The fence keeps every store of the
    // change behind it.
    __atomic_store_n(&file.changes, file.changes | 1, __ATOMIC_RELAXED);
    __atomic_thread_fence(__ATOMIC_SEQ_CST);
  }
  ++depth_;
}

ChangeSeenByReaders::~ChangeSeenByReaders() {
  // A fatal error inside the change has closed the journal already.
  if (--depth_ == 0 && journal.at != nullptr)
    __atomic_store_n(&journal.at->changes, (journal.at->changes | 1) + 1, __ATOMIC_RELEASE);
}

void CloseJournal() {
  if (journal.at == nullptr) return;
  // One inside a change stays for the next opening.
  if (journal.at->state == kIdle && journal.owner == ::getpid()) Spare(journal.path);
  fileSystem.munmap(journal.at, sizeof(JournalFile));
  fileSystem.close(journal.file);
  journal = {};
}

void LeaveJournal() {
  if (journal.at != nullptr && journal.at->state == kIdle) CloseJournal();
}

}  // namespace vorne
