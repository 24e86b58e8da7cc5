// What is here is called by the process that makes a change and by the one that finds it half-made: every step may be
// done twice, and none reads what a later one stores.
#include "storage/journal/journal_file.h"

#include <sys/file.h>
#include <sys/mman.h>
#include <sys/statvfs.h>

#include <algorithm>
#include <cstring>

#include "storage/files/mapped_file.h"
#include "storage/files/system.h"

namespace vorne {

namespace {

// Copies the tail chunk by chunk, in the order in which no chunk overwrites one that is still to come. A chunk is saved
// before it is copied, since it may overlap its own destination; taken up again, the one saved last is copied anew.
void copyChunks(JournalFile& file, char* bytes) {
  const UnderWay& change = file.underWay;
  const UInt32 chunk = ChunkOf(change);
  const UInt32 chunks = (change.length + chunk - 1) / chunk;
  for (UInt32 i = file.chunks == 0 ? 0 : file.chunks - 1; i < chunks; ++i) {
    const UInt32 before = i * chunk;
    const UInt32 size = std::min(change.length - before, chunk);
    const UInt32 place = change.to > change.from ? change.length - before - size : before;
    char* saved = file.room + (i & 1) * chunk;
    // `chunks` counts what is saved, never what is copied. Of a process that dies the chunk saved last may be copied in
    // part; copied once more from where it was saved it is whole. The one before is complete, so two places are enough.
    if (i >= file.chunks) {
      std::memcpy(saved, bytes + change.from + place, size);
      StoreBarrier();
      file.chunks = i + 1;
      StoreBarrier();
    }
    std::memcpy(bytes + change.to + place, saved, size);
    StoreBarrier();
  }
}

// Less than this, and others may have filled the disk by the time that the next program begins.
constexpr std::uint64_t kHardlyAnySpace = 16 << 20;

bool isDiskNearlyFull() {
  struct statvfs disk;
  return ::statvfs(wcDir, &disk) != 0 || std::uint64_t{disk.f_bavail} * disk.f_frsize < kHardlyAnySpace;
}

}  // namespace

std::uint64_t Sum(const void* bytes, std::size_t size) {
  // FNV-1a with its usual 64-bit numbers, taken eight bytes at a time.
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

bool Claim(int file) {
  // The system lets go of it when the process ends, however it ends.
  return fileSystem.flock(file, LOCK_EX | LOCK_NB) == 0;
}

bool IsStill(int file, const std::string& path) {
  struct stat open, named;
  return ::fstat(file, &open) == 0 && fileSystem.stat(path.c_str(), &named) == 0 && open.st_ino == named.st_ino &&
         open.st_dev == named.st_dev;
}

void Spare(const std::string& path) {
  if (!isDiskNearlyFull() || fileSystem.rename(path.c_str(), JournalPath(wcDir, kSpareJournalName).c_str()) != 0)
    fileSystem.unlink(path.c_str());
}

void Begin(JournalFile& file, State state) {
  // The state comes last: until it is stored nobody looks at the rest, and a kill leaves a change that never began.
  file.underWay.check = Sum(&file.underWay, offsetof(UnderWay, check));
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

void FinishMove(JournalFile& file, pmymap map) {
  const UnderWay& change = file.underWay;
  copyChunks(file, map->mapmem);
  const bool forward = change.to > change.from;
  const UInt32 vacated = forward ? change.from : change.to + change.length;
  const UInt32 behind = forward ? change.to : change.end;
  // Zeros where nothing is any more: an opening takes other bytes behind the used end for a sign of damage.
  if (behind > vacated) std::memset(map->mapmem + vacated, 0, behind - vacated);
  // After the records have moved: a block that grew lies where they were.
  std::memcpy(map->mapmem + kHeaderSize, file.info, change.infoLength);
  if (change.patchAt != 0) Store(map->mapmem + change.patchAt, change.patch);
  // The header comes last. While one of its fields is the old one recovery makes the whole move again, which it can,
  // since each step stores what it stored before.
  Store(map->mapmem + offsetof(FileHeader, szmap), change.after.szmap);
  map->szmap = static_cast<std::int32_t>(change.after.szmap);
  WriteHeader(map, change.after);
}

}  // namespace vorne
