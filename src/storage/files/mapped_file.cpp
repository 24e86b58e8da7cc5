// Three sizes are kept apart: what the file has (szallocated), what of it is used (szmap) and how far it surely has
// space on the disk (reserved). Growth, in steps that files in the field show, keeps all of them in step with the
// header.
#include <sys/mman.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "runtime/latin1.h"
#include "storage/files/descriptor.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/mapped_file.h"
#include "storage/files/system.h"

char wcDir[PATH_MAX];
char wcName[PATH_MAX + 256];
Boolean bBatchOper = 0;

namespace {

using namespace vorne;

// Writes what the file holds there once more, zeros where it has a hole: then it has space.
bool writeAgain(int file, std::int64_t from, std::int64_t to) {
  char bytes[4096];
  while (from < to) {
    const auto size = static_cast<std::size_t>(std::min<std::int64_t>(to - from, sizeof bytes));
    if (fileSystem.lseek(file, static_cast<off_t>(from), SEEK_SET) != from) return false;
    const ssize_t there = fileSystem.read(file, bytes, size);
    if (there <= 0 || fileSystem.lseek(file, static_cast<off_t>(from), SEEK_SET) != from) return false;
    const ssize_t written = fileSystem.write(file, bytes, static_cast<std::size_t>(there));
    if (written != there) {
      if (written >= 0) errno = ENOSPC;
      return false;
    }
    from += there;
  }
  return true;
}

constexpr std::size_t kNameLimit = 128;

// With 64-bit addresses the largest size is held from the start, so that growth never moves what callers look at; where
// addresses are rationed, only what the file has.
constexpr std::uint32_t kHeldAddresses = sizeof(void*) == 8 ? 0x10000000 : 0;

// What the last growth that failed wanted, and why it did.
struct {
  std::int64_t bytes = 0;
  int error = 0;
} failedGrowth;

constexpr std::int64_t kLargestStep = 92160;

// A file that is used a lot grows in larger steps.
std::int64_t growthStep(int resize) {
  // 15, 60 and 90 KiB: sizes by which programs in the field make their files.
  if (resize < 3) return kSmallestFile;
  return resize < 5 ? 61440 : kLargestStep;
}

// Not a rounding up to the next multiple: files in the field carry sizes made by this rule.
std::int64_t fieldSize(std::int64_t size) {
  const std::int64_t grown = size + size % kSmallestFile;
  return grown > kLargestFile ? size : grown;
}

// A map's used size; a file just made has none.
std::int64_t usedSize(const mymap& map) {
  return map.szmap == kNewFile ? 0 : map.szmap;
}

void flushHeader(const mymap& map) {
  FlushViewOfFile(map.mapmem, kHeaderSize);
}

void flushUsed(const mymap& map) {
  FlushViewOfFile(map.mapmem, static_cast<std::size_t>(map.szmap));
}

void storeAllocated(pmymap map, std::int64_t size) {
  map->szallocated = static_cast<std::int32_t>(size);
  Store(map->mapmem + offsetof(FileHeader, szallocated), map->szallocated);
}

void storeUsed(pmymap map, std::int64_t size) {
  // What stands behind the old end is in place before this store makes it count, and nothing that is stored later comes
  // before it.
  map->szmap = static_cast<std::int32_t>(size);
  StoreBarrier();
  Store(map->mapmem + offsetof(FileHeader, szmap), map->szmap);
  StoreBarrier();
}

void addUsed(pmymap map, std::int64_t old, std::int64_t n) {
  map->offset = static_cast<std::int32_t>(old);
  storeUsed(map, std::max<std::int64_t>(old + n, kHeaderSize));
}

// Sizes here never pass kLargestFile, or are those of a file that there is.
bool cutFile(int file, std::int64_t size) {
  return fileSystem.ftruncate(file, static_cast<off_t>(size)) == 0;
}

// Stores the zeros that the new part of a file reads as anyway: the system then keeps it in few large pieces, where the
// first touch of each page through the mapping would make a piece of its own. Nothing depends on it.
void touchAtOnce(int file, std::int64_t from, std::int64_t to) {
  static char zeros[1 << 17];
  const auto size = static_cast<std::size_t>(to > from ? to - from : 0);
  if (size <= sizeof zeros && fileSystem.lseek(file, static_cast<off_t>(from), SEEK_SET) == from)
    static_cast<void>(fileSystem.write(file, zeros, size) < 0);
}

// Real space up to the end of the file for what is going to be written behind the used size. What other programs made
// may have holes there.
bool reserveAhead(pmymap map, std::int64_t needed) {
  if (needed <= map->reserved) return true;
  // Behind the used bytes only: those have been written and have space.
  const std::int64_t from = map->reserved > map->szmap ? map->reserved : map->szmap;
  std::int64_t to = needed + growthStep(map->resize);
  if (to > map->szallocated) to = map->szallocated;
  if (!ReserveSpace(map->hFile, from, to)) return false;
  map->reserved = static_cast<std::int32_t>(to);
  return true;
}

// The size that a growth to hold `used` bytes leads to; 0 when it would pass the largest file.
std::int64_t grownSize(const mymap& map, std::int64_t used) {
  if (used > kLargestFile) return 0;
  std::int64_t size = map.szallocated + growthStep(map.resize);
  if (size < used) size = used + kSmallestFile;
  size = fieldSize(size);
  return size > kLargestFile ? kLargestFile : size;
}

bool growFile(pmymap map, std::int64_t used) {
  ++map->resize;
  const std::int64_t size = grownSize(*map, used);
  if (size != 0 && setfilesz(map, static_cast<long>(size))) return true;
  --map->resize;
  return false;
}

// The sizes that a header stands for. What it cannot say truly is replaced by what the file shows: a file is never cut
// at open, and nothing is used behind its end.
struct Sizes {
  std::int64_t allocated;
  std::int64_t used;
  bool fresh;  // the header must be written
};

Sizes sizesOf(const FileHeader& header, std::int64_t fileSize) {
  // kNewFile is the used size of a file into which nothing was ever put.
  if (fileSize == 0) return {kSmallestFile, kNewFile, true};
  Sizes sizes{header.szallocated, header.szmap, fileSize < kSmallestFile};
  const std::int64_t least = fileSize < kSmallestFile ? kSmallestFile : fileSize;
  if (sizes.used == 0) sizes.used = kHeaderSize;
  if (sizes.allocated < kHeaderSize || sizes.allocated > kLargestFile || sizes.allocated < fileSize)
    sizes.allocated = least;
  if (sizes.allocated < sizes.used || (sizes.used < kHeaderSize && sizes.used != kNewFile)) {
    sizes.used = sizes.allocated;
    sizes.fresh = true;
  }
  return sizes;
}

[[noreturn]] void mapFailure(const char* format, const char* name) {
  StorageFailure(Message(format, name, __MemoryReport()).c_str());
}
[[noreturn]] void mapFailure(const char* format, const char* name, long size) {
  const int failure = errno;
  const std::string message = Message(format, name, size, __MemoryReport());
  errno = failure;
  FileFailure(message, name, size);
}

// Brings the file to `size` bytes, of which the first `used` get real space; its old size comes back when that fails.
bool sizeFile(int file, std::int64_t oldSize, std::int64_t size, std::int64_t used) {
  if (size <= oldSize) return true;
  const std::int64_t from = oldSize < kSmallestFile ? 0 : oldSize;
  // With what openings look at behind the used bytes. All that a damaged header asks for may be more than a disk has:
  // the rest gets its space as it is used.
  const std::int64_t to = std::min(size, used + kLargestStep);
  if (cutFile(file, size) && ReserveSpace(file, from, to)) return true;
  const int failure = errno;
  cutFile(file, oldSize);
  errno = failure;
  return false;
}

// Maps an open file of `size` bytes whose size was `oldSize`.
void mapOpen(pmymap map, std::int64_t oldSize, long size) {
  auto length = std::max(static_cast<UInt32>(size), kHeldAddresses);
  HANDLE mapping = CreateFileMapping(map->hFile, nullptr, PAGE_READWRITE, 0, length);
  if (mapping == INVALID_HANDLE_VALUE) {
    // Addresses may be limited here too: the file is held as it is then, and moves when it grows.
    length = static_cast<UInt32>(size);
    mapping = CreateFileMapping(map->hFile, nullptr, PAGE_READWRITE, 0, length);
  }
  if (mapping == INVALID_HANDLE_VALUE) {
    const int failure = errno;
    cutFile(map->hFile, oldSize);
    errno = failure;
    mapFailure("falhou CreateFileMapping do arquivo %s sz=%ld %s", map->cfile, size);
  }
  map->hFileMap = MapViewOfFile(mapping);
  if (map->hFileMap == nullptr) mapFailure("falhou MapViewOfFile do arquivo %s sz=%ld %s", map->cfile, size);
  map->mapmem = static_cast<char*>(map->hFileMap);
  map->mapped = length;
  storeAllocated(map, size);
  flushHeader(*map);
}

MapOwner newMap(const char* name) {
  if (name == nullptr || std::strlen(name) >= kNameLimit) StorageFailure("Nome muito extenso");
  MapOwner map(static_cast<pmymap>(std::calloc(1, sizeof(mymap))));
  if (map == nullptr) StorageFailure("Falha de alocação mp"_l1);
  map->hFile = -1;
  std::strcpy(map->cfile, name);
  return map;
}

// A file shorter than a header has zeros for one.
bool readHeaderAndSize(HANDLE file, FileHeader& header, long& size) {
  int count = 0;
  header = {};
  size = GetFileSize(file);
  return size >= 0 && (size < static_cast<long>(kHeaderSize) ||
                       ReadFile(file, &header, kHeaderSize, &count) == static_cast<int>(kHeaderSize));
}

// Brings the map's open file of `oldSize` bytes to `size`, never below what it has, and maps it; see sizeFile.
bool sizeAndMap(pmymap map, std::int64_t oldSize, std::int64_t size, std::int64_t used) {
  if (oldSize < 0 || !sizeFile(map->hFile, oldSize, size, used)) return false;
  mapOpen(map, oldSize, static_cast<long>(std::max(oldSize, size)));
  return true;
}

bool isFull(int error) {
  return error == ENOSPC || error == EDQUOT;
}

// Null when the file cannot be made as large as it must be, by `missing` bytes; errno tells why.
// `asItIs`: a file that is shorter than its header says is used as far as it goes.
pmymap tryToMap(const char* name, std::int64_t& missing, bool asItIs = false) {
  MapOwner map = newMap(name);
  FileHeader header;
  long fileSize = 0;
  map->hFile = static_cast<int>(CreateFile(GetWideName(name), GENERIC_READ | GENERIC_WRITE));
  // An open that fails here must not look like a new file: its header would be written over the old one.
  if (map->hFile < 1) mapFailure("falhou abertura do arquivo %s %s", name);
  if (!readHeaderAndSize(map->hFile, header, fileSize)) mapFailure("falhou ReadFile do arquivo %s %s", name);
  if (fileSize > static_cast<long>(kLargestFile)) mapFailure("falhou GetFileSize do arquivo %s %s", name);

  Sizes sizes = sizesOf(header, fileSize);
  if (asItIs) sizes = {fileSize, std::min<std::int64_t>(sizes.used, fileSize), true};
  const std::int64_t size = asItIs ? fileSize : fieldSize(sizes.allocated);
  map->szmap = static_cast<std::int32_t>(sizes.used);
  missing = size - fileSize;
  if (!sizeAndMap(map.get(), fileSize, size, sizes.used)) {
    const int failure = errno;
    map.reset();
    // A file that was cut behind its used bytes lacks nothing: no full disk keeps it shut.
    if (isFull(failure) && header.szmap >= kHeaderSize && sizes.used <= fileSize) return tryToMap(name, missing, true);
    errno = failure;
    return nullptr;
  }
  if (sizes.fresh || sizes.allocated != size || header.szmap != static_cast<std::uint32_t>(map->szmap)) {
    header.szmap = static_cast<std::uint32_t>(map->szmap);
    header.szallocated = static_cast<std::uint32_t>(size);
    Store(map->mapmem, header);
    flushHeader(*map);
  }
  return map.release();
}

}  // namespace

const char* GetWideName(const char* name) {
  if (name == nullptr)
    wcName[0] = 0;
  else
    std::snprintf(wcName, sizeof wcName, "%s/%s", wcDir, name);
  return wcName;
}

int GetHeaderAndSize(const char* name, FileHeader* header, long* size) {
  if (name == nullptr) return 0;
  *header = {};
  *size = 0;
  const HANDLE file = CreateFile(GetWideName(name), GENERIC_READ | GENERIC_WRITE);
  if (file == INVALID_HANDLE_VALUE) return 0;
  const bool readable = readHeaderAndSize(file, *header, *size);
  CloseHandle(file);
  if (!readable) mapFailure("falhou ReadFile do arquivo %s %s", name);
  return 1;
}

pmymap mapeararquivo(const char* name) {
  std::int64_t missing = 0;
  const pmymap map = tryToMap(name, missing);
  if (map == nullptr) FileFailure(Message("Falha na criação do Mapeamento %s"_l1, name), name, missing);
  return map;
}

int GetMappedFile(pmymap map, long size) {
  if (map == nullptr) return 0;
  map->hFile = OpenFile(wcName, O_RDWR | O_NONBLOCK);
  if (map->hFile < 1) map->hFile = OpenFile(wcName, O_RDWR | O_NONBLOCK | O_CREAT, 0660);
  if (map->hFile < 1) return 0;
  return sizeAndMap(map, GetFileSize(map->hFile), size, size);
}

namespace vorne {

bool ReserveSpace(int file, std::int64_t from, std::int64_t to) {
  if (to <= from || fileSystem.fallocate(file, static_cast<off_t>(from), static_cast<off_t>(to - from)) == 0)
    return true;
  return (errno == EOPNOTSUPP || errno == EINVAL || errno == ENOSYS) && writeAgain(file, from, to);
}

pmymap MapInMemory(const char* name, const std::string& why) {
  Logar(Message("%s fica na memória: %s"_l1, name, why.c_str()).c_str());
  MapOwner map = newMap(name);
  map->hFile = AboveStreams(::memfd_create(name, MFD_CLOEXEC));
  if (map->hFile < 0 || !cutFile(map->hFile, kSmallestFile)) mapFailure("falhou abertura do arquivo %s %s", name);
  mapOpen(map.get(), 0, kSmallestFile);
  storeUsed(map.get(), kHeaderSize);
  return map.release();
}

pmymap MapOrHoldInMemory(const char* name) {
  std::int64_t missing = 0;
  if (const pmymap map = tryToMap(name, missing)) return map;
  const int failure = errno;
  if (isFull(failure)) return MapInMemory(name, WhyNotStored(name, missing, failure));
  FileFailure(Message("Falha na criação do Mapeamento %s"_l1, name), name, missing);
}

pmymap MapAsFarAsItGoes(const char* name) {
  std::int64_t missing = 0;
  if (const pmymap map = tryToMap(name, missing)) return map;
  const int failure = errno;
  const std::optional<FileHeader> header = HeaderInFile(name);
  errno = failure;
  // Without a header nothing of it can be used.
  if (!isFull(failure) || !header || header->Version == 0)
    FileFailure(Message("Falha na criação do Mapeamento %s"_l1, name), name, missing);
  Logar(WhyNotStored(name, missing, failure).c_str());
  return tryToMap(name, missing, true);
}

std::optional<FileHeader> HeaderInFile(const std::string& name) {
  const int file = OpenFile(GetWideName(name.c_str()), O_RDONLY | O_NONBLOCK);
  if (file < 0) return {};
  FileHeader header = {};
  const ssize_t read = fileSystem.read(file, &header, sizeof header);
  fileSystem.close(file);
  if (read < 0) return {};
  return read == static_cast<ssize_t>(sizeof header) ? header : FileHeader{};
}

bool EnsureRoom(pmymap map, long n) {
  const std::int64_t used = std::int64_t{map->szmap} + n;
  if (used < map->szallocated && used <= map->reserved) return true;  // nearly always
  errno = 0;
  if ((map->szallocated > used || growFile(map, used)) && reserveAhead(map, used)) return true;
  failedGrowth = {n, errno == 0 ? EFBIG : errno};
  return false;
}

std::string WhyNotGrown(const mymap& map) {
  return WhyNotStored(map.cfile, failedGrowth.bytes, failedGrowth.error);
}

void GrowthFailure(const mymap& map) {
  const std::string message = Message("falhou CreateFileMapping do arquivo %s sz=%ld %s", map.cfile,
                                      static_cast<long>(map.szallocated), __MemoryReport());
  errno = failedGrowth.error;
  FileFailure(message, map.cfile, failedGrowth.bytes);
}

void WriteHeader(pmymap map, FileHeader header) {
  header.szallocated = static_cast<std::uint32_t>(map->szallocated);
  header.szmap = Load<FileHeader>(map->mapmem).szmap;
  Store(map->mapmem, header);
  storeUsed(map, map->szmap);
  if (!bBatchOper) flushHeader(*map);
}

void WriteUsedSize(pmymap map, std::int64_t size) {
  storeUsed(map, size);
  if (!bBatchOper) flushUsed(*map);
}

void ExtendUsed(pmymap map, std::int64_t n) {
  addUsed(map, usedSize(*map), n);
}

void StoreCount(pmymap map, UInt32 count) {
  Store(map->mapmem + offsetof(FileHeader, NumberOfRecords), count);
  StoreBarrier();
}

}  // namespace vorne

int increasefilesz(pmymap map, long n) {
  if (map == nullptr) {
    Logar("Falha de increase !mp");
    std::printf("Falha de increase !mp");
    __RuntimeError(0, -1);
  }
  const bool grows = map->szallocated <= map->szmap + static_cast<std::int64_t>(n);
  const long added = grows && n < 0 ? static_cast<long>(kSmallestFile) : n;
  if (!EnsureRoom(map, added)) return 0;
  // A growth counts the byte that a new file has as used, room that is there does not: sizes in the field came so.
  if (grows)
    addUsed(map, map->szmap, added);
  else
    ExtendUsed(map, added);
  if (grows || !bBatchOper) flushHeader(*map);
  return 1;
}

int setfilesz(pmymap map, long size) {
  if (map == nullptr || size < static_cast<long>(kHeaderSize) || size > static_cast<long>(kLargestFile)) return 0;
  flushUsed(*map);
  const std::int64_t old = map->szallocated;
  // First the file, then its real space and the mapping, the header last: a kill in between leaves a file longer than
  // its header says, which the next opening takes as long as it is.
  if (!cutFile(map->hFile, size)) return 0;
  const bool real = ReserveSpace(map->hFile, old, size);
  if (real) touchAtOnce(map->hFile, old, size);
  if (real && static_cast<std::size_t>(size) > map->mapped) {
    void* moved = fileSystem.mremap(map->mapmem, map->mapped, static_cast<std::size_t>(size));
    if (moved != MAP_FAILED) {
      map->mapmem = static_cast<char*>(moved);
      map->mapped = static_cast<std::size_t>(size);
    }
  }
  if (!real || static_cast<std::size_t>(size) > map->mapped) {
    const int failure = errno;
    cutFile(map->hFile, old);
    errno = failure;
    return 0;
  }
  // All that is new has space. What was there before had it only if it was reserved up to its end.
  if (map->reserved >= old || map->reserved > size) map->reserved = static_cast<std::int32_t>(size);
  map->hFileMap = map->mapmem;
  storeAllocated(map, size);
  flushHeader(*map);
  return 1;
}

int UnmapViewOfFile(pmymap map) {
  if (map != nullptr && map->mapmem != nullptr) fileSystem.munmap(map->mapmem, map->mapped);
  return 1;
}

int liberarmap(pmymap map) {
  if (map == nullptr) return 0;
  if (map->mapmem != nullptr) flushUsed(*map);
  if (!UnmapViewOfFile(map)) std::printf("erro unmap 1");
  if (map->hFile >= 0) CloseHandle(map->hFile);
  std::free(map);
  return 1;
}

void TruncateFile(const char* name) {
  // OPEN_ALWAYS is what empties a file; cutting at position 0 would do nothing.
  const HANDLE file = CreateFile(name, GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_ALWAYS);
  if (file != INVALID_HANDLE_VALUE) CloseHandle(file);
}
