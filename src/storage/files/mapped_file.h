// The system behind one table of calls, and single files: Win32-named, mapped, unfinished, copies kept. Stands on the
// formats alone. The Win32-named calls answer as those did; a mapped file that cannot go on is error 5, told in
// "saida.txt".
//
// This file: mapped files as owned objects, and the one place that writes a file's header.
#pragma once

#include <memory>
#include <optional>
#include <span>
#include <string>

#include "storage/vornerdd.h"

namespace vorne {

struct MapRelease {
  void operator()(pmymap map) const { liberarmap(map); }
};
using MapOwner = std::unique_ptr<mymap, MapRelease>;

/// The file's bytes up to the end of what is used.
inline std::span<const char> UsedBytes(const mymap& map) {
  return {map.mapmem, static_cast<std::size_t>(map.szmap)};
}
/// All bytes that the file has.
inline std::span<const char> AllBytes(const mymap& map) {
  return {map.mapmem, static_cast<std::size_t>(map.szallocated)};
}

inline FileHeader HeaderOf(const mymap& map) {
  return Load<FileHeader>(map.mapmem);
}

/// Real space from `from` to `to` inside a file, so that a full disk is told here (false, errno) and not by a signal at
/// the first store. On file systems that cannot reserve it what is there is written once more.
bool ReserveSpace(int file, std::int64_t from, std::int64_t to);

/// A file that is only there in memory and holds a header: for what is made anew from other files at any opening, while
/// the disk has no space for it. `why` goes into the log. Error 5 without memory.
pmymap MapInMemory(const char* name, const std::string& why);
/// mapeararquivo(), but in memory where the disk has no space for a new file of that name, or for a cut one's missing
/// part.
pmymap MapOrHoldInMemory(const char* name);
/// mapeararquivo(), but of a cut file that has a header what is left of it, where the disk has no space for the missing
/// part: whoever reads it finds fewer bytes than it counts records, and makes it anew or does without.
pmymap MapAsFarAsItGoes(const char* name);

/// The header of a file of the data directory, read without making or changing anything; zeros when it is shorter.
/// Nothing when it cannot be read.
std::optional<FileHeader> HeaderInFile(const std::string& name);

/// Makes `n` bytes behind the used size usable without changing the used size. The mapping may move. False when the
/// file cannot grow; nothing has changed then.
bool EnsureRoom(pmymap map, long n);

/// Why the last growth failed, for whoever uses the program: the file, the bytes wanted and the system's words.
std::string WhyNotGrown(const mymap& map);
/// Error 5: the file cannot grow.
[[noreturn]] void GrowthFailure(const mymap& map);

/// Stores the header; the two sizes are always the map's, the used one last, since it makes what was added count. Told
/// to the system unless records are loaded in a batch.
void WriteHeader(pmymap map, FileHeader header);

/// Stores the used size, and tells the system of all that is used unless records are loaded in a batch.
void WriteUsedSize(pmymap map, std::int64_t size);

/// Makes `n` more bytes, for which there is room, used ones; `offset` becomes the old used size. The system is told
/// together with what is going to be stored there.
void ExtendUsed(pmymap map, std::int64_t n);

/// Stores how many records count. The system is told together with the last of them.
void StoreCount(pmymap map, UInt32 count);

/// Keeps the compiler from moving stores over this point. What a dying process had stored in a shared mapping stays in
/// the order in which it was stored, so this is all that an order on disk needs.
inline void StoreBarrier() {
  __atomic_signal_fence(__ATOMIC_SEQ_CST);
}

}  // namespace vorne
