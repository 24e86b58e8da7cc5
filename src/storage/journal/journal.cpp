#include "storage/journal/journal.h"

#include <sys/file.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <exception>

#include "storage/databases/catalog.h"
#include "storage/files/descriptor.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/format/journal_head.h"
#include "storage/format/names.h"

namespace vorne {

namespace {

constexpr UInt32 kChunk = kLargestProtected / 2;
constexpr UInt32 kLongestPause = 100'000;  // microseconds

enum State : UInt32 { kIdle = 0, kBytesKept = 1, kMoving = 2 };

// What is under way. `check` covers all that stands before it.
struct Entry {
  char name[40];
  FileHeader before;
  FileHeader after;
  UInt32 from;    // moves: first byte; kept bytes: place
  UInt32 to;      // moves only
  UInt32 length;  // bytes to move, or kept
  UInt32 end;     // moves: end of what was used
  UInt32 patchAt;
  RecordHeader patch;
  UInt32 offsetsFollow;
  UInt32 infoLength;  // moves: bytes of the application-info block that are stored too
  UInt32 reserved;
  std::uint64_t keptCheck;  // of the kept bytes, or of those for the block
  std::uint64_t check;
};
static_assert(sizeof(Entry) == 136 && offsetof(Entry, from) == 80 && offsetof(Entry, check) == 128);

// The journal file. The room holds the bytes before a protected store, or in turns the chunks that a move is copying.
struct JournalFile {
  UInt32 magic;
  UInt32 state;
  UInt32 chunks;   // moves: chunks whose bytes have been saved; all but the last of them have been copied
  UInt32 changes;  // odd while something changes that readers must not look at, even in between
  Entry entry;
  std::uint64_t session;  // when the journal was made: tells it from an earlier one
  UInt32 readersWait;     // see JournalHead; the only place that readers write to
  UInt32 reserved;
  char unused[4096 - 32 - sizeof(Entry)];
  char room[kLargestProtected];
  char info[kLargestProtected];  // moves: what is stored in the application-info block
};
static_assert(offsetof(JournalFile, state) == offsetof(JournalHead, state) &&
              offsetof(JournalFile, changes) == offsetof(JournalHead, changes) &&
              offsetof(JournalFile, session) == offsetof(JournalHead, session) &&
              offsetof(JournalFile, readersWait) == offsetof(JournalHead, readersWait));
static_assert(offsetof(JournalFile, room) == 4096 && sizeof(JournalFile) == 4096 + 2 * kLargestProtected);

struct OpenJournal {
  int file = -1;
  JournalFile* at = nullptr;
  std::string path;
};
OpenJournal journal;

// A check sum, by words, against pages that a power loss left from different times.
std::uint64_t Sum(const void* bytes, std::size_t size) {
  std::uint64_t sum = 0xCBF29CE484222325u;
  const char* at = static_cast<const char*>(bytes);
  for (; size >= 8; at += 8, size -= 8) sum = (sum ^ Load<std::uint64_t>(at)) * 0x100000001B3u;
  for (; size > 0; ++at, --size) sum = (sum ^ static_cast<unsigned char>(*at)) * 0x100000001B3u;
  return sum;
}

std::string JournalPath(const char* directory, std::string_view name) {
  return std::string(directory).append("/").append(name);
}

JournalFile* MapJournal(int file) {
  void* at = fileSystem.mmap(sizeof(JournalFile), file);
  return at == MAP_FAILED ? nullptr : static_cast<JournalFile*>(at);
}

// True when no living process holds that journal; it is ours from then on.
bool Claim(int file) {
  return fileSystem.flock(file, LOCK_EX | LOCK_NB) == 0;
}

// The same, where taking a dead process's journal for a living one's would leave its change half-done: a reader that
// looks whether the writer lives holds the lock for an instant.
bool ClaimFromReaders(int file) {
  constexpr int kTries = 5;
  constexpr useconds_t kBetween = 1000;
  for (int tries = 1; !Claim(file); ++tries) {
    if (tries == kTries || errno != EWOULDBLOCK) return false;
    ::usleep(kBetween);
  }
  return true;
}

bool OpenJournalFile(const std::string& path) {
  const int file = OpenFile(path.c_str(), O_RDWR | O_CREAT, 0660);
  if (file < 0) return false;
  JournalFile* at = nullptr;
  if (Claim(file) && fileSystem.ftruncate(file, 0) == 0 && fileSystem.ftruncate(file, sizeof(JournalFile)) == 0 &&
      (fileSystem.fallocate(file, 0, sizeof(JournalFile)) == 0 || errno == EOPNOTSUPP || errno == EINVAL))
    at = MapJournal(file);
  if (at == nullptr) {
    fileSystem.close(file);
    return false;
  }
  timespec now = {};
  ::clock_gettime(CLOCK_REALTIME, &now);
  at->session = static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
  at->magic = kJournalMagic;
  journal = {file, at, path};
  return true;
}

JournalFile& Journal() {
  for (const std::string_view name : kJournalNames)
    if (journal.at == nullptr) OpenJournalFile(JournalPath(wcDir, name));
  if (journal.at == nullptr)
    StorageFailure(Message("falhou abertura do arquivo %s %s", "journal", __MemoryReport()).c_str());
  return *journal.at;
}

void Begin(JournalFile& file, State state) {
  file.entry.check = Sum(&file.entry, offsetof(Entry, check));
  file.chunks = 0;
  StoreBarrier();
  file.state = state;
  StoreBarrier();
}

void End(JournalFile& file) {
  StoreBarrier();
  file.state = kIdle;
  StoreBarrier();
}

// A name that is longer than a database's is cut: no such file is found then, and nothing is recovered in another one.
void SetName(Entry& entry, const mymap& map) {
  std::memcpy(entry.name, map.cfile, ::strnlen(map.cfile, sizeof entry.name - 1));
}

// Copies the tail chunk by chunk, in the order in which no chunk overwrites one that is still to come. A chunk is saved
// before it is copied, since it may overlap its own destination; taken up again, the one saved last is copied anew.
void CopyChunks(JournalFile& file, char* bytes) {
  const Entry& entry = file.entry;
  const UInt32 chunks = (entry.length + kChunk - 1) / kChunk;
  for (UInt32 i = file.chunks == 0 ? 0 : file.chunks - 1; i < chunks; ++i) {
    const UInt32 before = i * kChunk;
    const UInt32 size = entry.length - before < kChunk ? entry.length - before : kChunk;
    const UInt32 place = entry.to > entry.from ? entry.length - before - size : before;
    char* saved = file.room + (i & 1) * kChunk;
    if (i >= file.chunks) {
      std::memcpy(saved, bytes + entry.from + place, size);
      StoreBarrier();
      file.chunks = i + 1;
      StoreBarrier();
    }
    std::memcpy(bytes + entry.to + place, saved, size);
    StoreBarrier();
  }
}

void FinishMove(JournalFile& file, pmymap map) {
  const Entry& entry = file.entry;
  CopyChunks(file, map->mapmem);
  const bool forward = entry.to > entry.from;
  const UInt32 vacated = forward ? entry.from : entry.to + entry.length;
  const UInt32 behind = forward ? entry.to : entry.end;
  if (behind > vacated) std::memset(map->mapmem + vacated, 0, behind - vacated);
  std::memcpy(map->mapmem + kHeaderSize, file.info, entry.infoLength);
  if (entry.patchAt != 0) Store(map->mapmem + entry.patchAt, entry.patch);
  Store(map->mapmem + offsetof(FileHeader, szmap), entry.after.szmap);
  map->szmap = static_cast<std::int32_t>(entry.after.szmap);
  WriteHeader(map, entry.after);
}

void Restore(const JournalFile& file, pmymap map) {
  std::memcpy(map->mapmem + file.entry.from, file.room, file.entry.length);
}

// ------------------------------------------------------------------------------------------------------- recovery

// A header is stored field by field: each may be the old or the new one.
bool IsBetween(const FileHeader& now, const FileHeader& before, const FileHeader& after) {
  const auto either = [](UInt32 value, UInt32 a, UInt32 b) { return value == a || value == b; };
  return either(now.szmap, before.szmap, after.szmap) &&
         either(now.NumberOfRecords, before.NumberOfRecords, after.NumberOfRecords) &&
         either(now.AppInfoLen, before.AppInfoLen, after.AppInfoLen);
}

bool IsNamed(const Entry& entry) {
  return std::memchr(entry.name, 0, sizeof entry.name) != nullptr && IsFileName(entry.name);
}

// A journal is bytes from outside like any other file.
bool IsSound(const JournalFile& file) {
  const Entry& entry = file.entry;
  if (file.magic != kJournalMagic || (file.state != kBytesKept && file.state != kMoving)) return false;
  if (entry.check != Sum(&entry, offsetof(Entry, check)) || !IsNamed(entry)) return false;
  if (file.state == kBytesKept)
    return entry.length <= kLargestProtected && entry.keptCheck == Sum(file.room, entry.length);
  if (entry.infoLength > kLargestProtected || entry.infoLength > entry.after.AppInfoLen ||
      entry.keptCheck != Sum(file.info, entry.infoLength))
    return false;
  const std::uint64_t chunks = (static_cast<std::uint64_t>(entry.length) + kChunk - 1) / kChunk;
  return file.chunks <= chunks && entry.from <= entry.end && entry.length == entry.end - entry.from;
}

bool FitsInto(const JournalFile& file, const mymap& map) {
  const Entry& entry = file.entry;
  const auto size = static_cast<std::uint32_t>(map.szallocated);
  const auto inside = [size](UInt32 place, UInt32 length) { return length <= size && place <= size - length; };
  if (!inside(entry.from, entry.length) || entry.from < kHeaderSize) return false;
  if (file.state == kBytesKept) return IsBetween(HeaderOf(map), entry.before, entry.before);
  return IsBetween(HeaderOf(map), entry.before, entry.after) && inside(entry.to, entry.length) && entry.end <= size &&
         entry.after.szmap <= size && entry.to >= kHeaderSize && inside(entry.patchAt, sizeof entry.patch) &&
         inside(kHeaderSize, entry.infoLength);
}

bool Exists(const char* path) {
  struct stat found;
  return fileSystem.stat(path, &found) == 0 && S_ISREG(found.st_mode);
}

[[noreturn]] void RecoveryFailure(const char* name) {
  StorageFailure(Message("falhou abertura do arquivo %s %s", name, __MemoryReport()).c_str());
}

// What cannot be looked at just now must not be passed over: going on would make the half-way state last.
bool IsThere(const char* path) {
  struct stat found;
  if (fileSystem.stat(path, &found) == 0) return S_ISREG(found.st_mode);
  if (errno != ENOENT) RecoveryFailure(path);
  return false;
}

void Recover(JournalFile& file) {
  const Entry& entry = file.entry;
  if (!IsSound(file) || !IsThere(GetWideName(entry.name))) return;
  const MapOwner map(mapeararquivo(entry.name));
  if (!FitsInto(file, *map)) return;
  if (file.state == kMoving)
    FinishMove(file, map.get());
  else if (entry.name == std::string_view(kCatalogName) && entry.length == kCatalogEntrySize)
    SettleEntry(map.get(), entry.from, Load<DatabaseHdrType>(file.room));
  else
    Restore(file, map.get());
  const std::string offsets = OffsetsName(entry.name);
  if (entry.offsetsFollow != 0 && fileSystem.unlink(GetWideName(offsets.c_str())) != 0 && errno != ENOENT)
    RecoveryFailure(offsets.c_str());
}

// A journal file that belonged to a process that has died, mapped; it goes with the object.
class DeadJournal {
 public:
  explicit DeadJournal(const std::string& path) : file_(OpenFile(path.c_str(), O_RDWR)) {
    struct stat found;
    failure_ = errno;
    if (file_ < 0) return;
    const bool claimed = ClaimFromReaders(file_);
    failure_ = claimed ? 0 : errno;
    if (!claimed || ::fstat(file_, &found) != 0 || found.st_size != static_cast<off_t>(sizeof(JournalFile))) return;
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
  /// False for one that this process cannot read just now, though it could another time.
  bool isKnown() const {
    return failure_ == 0 || failure_ == EWOULDBLOCK || failure_ == ENOENT || failure_ == EACCES || failure_ == EPERM;
  }

 private:
  int file_;
  int failure_ = 0;
  JournalFile* at_ = nullptr;
};

}  // namespace

ProtectedMove::ProtectedMove(pmymap map, const TailMove& move) : exceptions_(std::uncaught_exceptions()) {
  JournalFile& file = Journal();
  Entry entry = {};
  SetName(entry, *map);
  entry.before = HeaderOf(*map);
  entry.after = move.after;
  entry.from = move.from;
  entry.to = move.to;
  entry.end = static_cast<UInt32>(map->szmap);
  entry.length = entry.end - move.from;
  entry.patchAt = move.patchAt;
  entry.patch = move.patch;
  entry.offsetsFollow = move.offsetsFollow;
  entry.infoLength = static_cast<UInt32>(move.info.size());
  if (!move.info.empty()) std::memcpy(file.info, move.info.data(), move.info.size());
  entry.keptCheck = Sum(file.info, entry.infoLength);
  file.entry = entry;
  Begin(file, kMoving);
  FinishMove(file, map);
}

ProtectedMove::~ProtectedMove() {
  if (journal.at != nullptr && std::uncaught_exceptions() == exceptions_) End(*journal.at);
}

void KeepBytes(pmymap map, UInt32 offset, UInt32 length) {
  JournalFile& file = Journal();
  Entry& entry = file.entry;
  entry = {};
  SetName(entry, *map);
  entry.before = HeaderOf(*map);
  entry.from = offset;
  entry.length = length;
  std::memcpy(file.room, map->mapmem + offset, length);
  entry.keptCheck = Sum(file.room, length);
  Begin(file, kBytesKept);
}

void BytesAreStored() {
  End(*journal.at);
}

namespace {

void LetReadersIn(JournalFile& file) {
  const UInt32 wish = __atomic_exchange_n(&file.readersWait, 0, __ATOMIC_RELAXED);
  const timespec pause = {0, static_cast<long>(std::min(wish, kLongestPause)) * 1000};
  ::nanosleep(&pause, nullptr);
}

}  // namespace

int ChangeSeenByReaders::depth_ = 0;

ChangeSeenByReaders::ChangeSeenByReaders() {
  if (depth_ == 0) {
    JournalFile& file = Journal();
    // A writer without a pause would keep them out for ever.
    if (__atomic_load_n(&file.readersWait, __ATOMIC_RELAXED) != 0) LetReadersIn(file);
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
  fileSystem.munmap(journal.at, sizeof(JournalFile));
  fileSystem.unlink(journal.path.c_str());
  fileSystem.close(journal.file);
  journal = {};
}

void RecoverInterruptedChanges() {
  for (const std::string_view name : kJournalNames) {
    const std::string path = JournalPath(wcDir, name);
    if (!IsThere(path.c_str())) continue;
    const DeadJournal dead(path);
    if (!dead.isKnown()) RecoveryFailure(path.c_str());
    if (dead.get() == nullptr) continue;
    Recover(*dead.get());
    End(*dead.get());
    fileSystem.unlink(path.c_str());
  }
}

std::vector<std::string> InterruptedChanges(const char* directory) {
  std::vector<std::string> names;
  for (const std::string_view name : kJournalNames) {
    const std::string path = JournalPath(directory, name);
    if (!Exists(path.c_str())) continue;
    const DeadJournal dead(path);
    if (dead.get() != nullptr && IsSound(*dead.get())) names.emplace_back(dead.get()->entry.name);
  }
  return names;
}

}  // namespace vorne
