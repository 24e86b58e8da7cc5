// What a kill leaves of an append, which the journal does not protect: a record begun (no marks), one finished and not
// counted, one counted without its place. All three are told by walking the chain of records, so this costs nothing
// where a few bytes say that the file was left in order.
#include "storage/databases/rebuild.h"

#include <algorithm>
#include <cstring>

#include "storage/files/diagnostic_log.h"
#include "storage/files/kept_copies.h"
#include "storage/files/mapped_file.h"
#include "storage/format/chain.h"
#include "storage/format/names.h"
#include "storage/records/moves.h"
#include "storage/records/offsets.h"
#include "storage/records/open_databases.h"
#include "storage/records/records.h"

namespace vorne {

namespace {

// Bytes behind the used ones that are zero in a file that was left in order.
constexpr std::int32_t kQuietTail = 128;

// Only where there is room for all of them: else nothing is to be read there, and nothing is zeroed.
bool hasQuietTail(const mymap& map) {
  return map.szallocated - map.szmap > kQuietTail;
}

bool isTailQuiet(const mymap& map) {
  const char* tail = map.mapmem + map.szmap;
  return !hasQuietTail(map) || std::all_of(tail, tail + kQuietTail, [](char byte) { return byte == 0; });
}

// What a walk along the chain finds. The records themselves are what is believed: each header leads to the next one.
// Count, places and used end follow from them and can be had again, which is why none of them needs protection when a
// record is appended.
struct Walk {
  UInt32 records = 0;
  UInt32 end = 0;
  UInt32 abandoned = 0;  // place of a record begun and never released, with others behind it; 0 none
};

// Calls `visit(number, place)` for every record that counts.
template <class Visit>
Walk walkChain(FileBytes bytes, UInt32 appInfoLen, Visit visit) {
  Walk walk;
  std::uint64_t place = FirstRecord(bytes, appInfoLen);
  while (IsRecord(bytes, place)) {
    visit(walk.records++, static_cast<UInt32>(place));
    place += RecordSpan(HeaderAt(bytes, place));
  }
  walk.end = static_cast<UInt32>(std::min<std::uint64_t>(place, bytes.size()));
  if (IsAbandoned(bytes, place) && place + RecordSpan(HeaderAt(bytes, place)) < bytes.size()) walk.abandoned = walk.end;
  return walk;
}

// The bytes that may hold records: an end that cannot be is not believed.
FileBytes chainBytes(const mymap& map) {
  const bool plausible = map.szmap >= static_cast<std::int32_t>(RecordsBegin(HeaderOf(map)));
  return plausible ? UsedBytes(map) : AllBytes(map);
}

void closeGap(DmOpenRef db, UInt32 place, UInt32 span) {
  TailMove move = MoveOf(*db->hFile, place, -static_cast<std::int64_t>(span));
  move.offsetsFollow = db->hOS != nullptr;
  const ProtectedMove made(db->hFile, move);
}

// The walk after everything that was begun and not released has been taken out.
Walk walkRepaired(DmOpenRef db) {
  const auto walk = [db] {
    return walkChain(chainBytes(*db->hFile), HeaderOf(*db->hFile).AppInfoLen, [](UInt32, UInt32) {});
  };
  Walk found = walk();
  // Walked again after each: places behind a closed gap are other ones.
  for (; found.abandoned != 0; found = walk())
    closeGap(db, found.abandoned, RecordSpan(HeaderAtPlace(*db, found.abandoned)));
  return found;
}

void storeSlots(DmOpenRef db, const Walk& walk) {
  const std::int64_t end = kHeaderSize + static_cast<std::int64_t>(walk.records) * kOffsetSize;
  const auto ensureRoom = [&] { return EnsureRoom(db->hOS, static_cast<long>(end - kHeaderSize)); };
  // Empty until all are stored: killed before that, it has too few places for the records and is made anew.
  WriteUsedSize(db->hOS, kHeaderSize);
  if (!ensureRoom()) {
    // The records are all there: on a full disk they must still be read and removed. The file, empty now, is made anew
    // at the next opening.
    const MapOwner full(db->hOS);
    db->hOS = MapInMemory(full->cfile, WhyNotGrown(*full));
    if (!ensureRoom()) GrowthFailure(*db->hOS);
  }
  char* slots = db->hOS->mapmem + kHeaderSize;
  walkChain(chainBytes(*db->hFile), db->Head.AppInfoLen,
            [slots](UInt32 number, UInt32 place) { Store(slots + number * kOffsetSize, place); });
  WriteUsedSize(db->hOS, end);
}

void storeEnd(DmOpenRef db, const Walk& walk) {
  const auto old = static_cast<UInt32>(db->hFile->szmap);
  db->Head.NumberOfRecords = walk.records;
  db->hFile->szmap = static_cast<std::int32_t>(walk.end);
  WriteHeader(db->hFile, db->Head);
  // Up to the old end, and as far as the next opening looks.
  UInt32 behind = std::max(walk.end, old);
  if (hasQuietTail(*db->hFile)) behind = std::max(behind, walk.end + kQuietTail);
  std::memset(db->hFile->mapmem + walk.end, 0, behind - walk.end);
  db->Head = HeaderOf(*db->hFile);
}

// The place behind the last record, as far as the offsets file can tell; 0 when that record cannot be.
std::int64_t lastRecordEnd(DmOpenRef db) {
  const UInt32 place = GetRecOffSet(db, db->Head.NumberOfRecords - 1);
  if (place > static_cast<UInt32>(db->hFile->szmap))
    Logar(Message("%s offset > hFile->szmap", OffsetsName(db->fName).c_str()).c_str());
  const FileBytes bytes = AllBytes(*db->hFile);
  const RecordHeader header = HeaderAt(bytes, place);
  const std::uint64_t end = std::uint64_t{place} + RecordSpan(header);
  const bool sound = place >= RecordsBegin(db->Head) && header.AllocatedSpace != 0 &&
                     header.AllocatedSpace >= header.RecordLen && end <= bytes.size();
  return sound ? static_cast<std::int64_t>(end) : 0;
}

bool areOffsetsConsistent(DmOpenRef db) {
  for (UInt32 i = 0; i < db->Head.NumberOfRecords; ++i)
    if (RecordPlace(*db, i) == 0) return false;
  return lastRecordEnd(db) == db->hFile->szmap;
}

bool needsRebuild(DmOpenRef db) {
  // Looks at as little as it can, since every opening does: the number of places, a few bytes behind the end, and the
  // place of the last record tell what a killed process leaves.
  if (OffsetSlots(*db) < db->Head.NumberOfRecords) return true;
  if (!isTailQuiet(*db->hFile)) {
    if (!areOffsetsConsistent(db)) return true;
    std::memset(db->hFile->mapmem + db->hFile->szmap, 0, kQuietTail);
  }
  // Records that were written and not counted, or begun and not released, lie behind the last one that counts.
  return lastRecordEnd(db) < db->hFile->szmap;
}

}  // namespace

void VerifyEqualRecords(DmOpenRef db) {
  const UInt32 stride = RecordStride(*db);
  const UInt32 begin = RecordsBegin(db->Head);
  const std::uint64_t counted = begin + static_cast<std::uint64_t>(db->Head.NumberOfRecords) * stride;
  const auto used = static_cast<std::uint64_t>(db->hFile->szmap);
  if (stride <= kRecordHeaderSize || used <= counted || (used - counted) % stride != 0) return;

  UInt32 unmarked = 0, gap = 0;
  for (std::uint64_t place = begin; place < used; place += stride) {
    const RecordHeader header = HeaderAtPlace(*db, static_cast<UInt32>(place));
    if (RecordSpan(header) != stride) return;
    if (IsMarked(header)) continue;
    ++unmarked;
    gap = static_cast<UInt32>(place);
  }
  // One record was being put in, anywhere: a gap was opened for it and it never got its marks.
  if (unmarked == 1 && used - counted == stride) {
    closeGap(db, gap, stride);
    // All there, and the last ones were not counted any more.
  } else if (unmarked == 0) {
    db->Head.NumberOfRecords = static_cast<UInt32>((used - begin) / stride);
    WriteHeader(db->hFile, db->Head);
  }
  db->Head = HeaderOf(*db->hFile);
}

bool VerifyPlaces(DmOpenRef db) {
  // Where the chain itself is damaged, one walk has to do for all the records that cannot be had.
  static std::string inVain;
  if (!IsOpen(db) || db->hOS == nullptr || inVain == db->fName || OffsetSlots(*db) != db->Head.NumberOfRecords)
    return false;
  bool isWrong = false;
  const Walk walk = walkChain(UsedBytes(*db->hFile), db->Head.AppInfoLen, [&](UInt32 number, UInt32 place) {
    isWrong |= number < db->Head.NumberOfRecords && GetRecOffSet(db, number) != place;
  });
  // The chain itself is not what the header tells: its places are no better than those of the file.
  if (walk.records != db->Head.NumberOfRecords || walk.end != static_cast<UInt32>(db->hFile->szmap)) {
    inVain = db->fName;
    return false;
  }
  if (!isWrong) return false;
  Logar(Message("%s: lugares corrigidos", OffsetsName(db->fName).c_str()).c_str());
  storeSlots(db, walk);
  return true;
}

}  // namespace vorne

using namespace vorne;

void VerifyFileOffset(DmOpenRef db) {
  if (!IsOpen(db) || db->hOS == nullptr) return;
  if (db->Head.NumberOfRecords == 0) {
    const FileBytes bytes = UsedBytes(*db->hFile);
    if (IsRecord(bytes, FirstRecord(bytes, db->Head.AppInfoLen))) RefazerOS(db);
  } else {
    if (needsRebuild(db)) RefazerOS(db);
    const std::int64_t end = db->Head.NumberOfRecords == 0 ? 0 : lastRecordEnd(db);
    if (end > db->hFile->szmap) WriteUsedSize(db->hFile, end);
  }
  if (OffsetSlots(*db) > db->Head.NumberOfRecords)
    WriteUsedSize(db->hOS, kHeaderSize + static_cast<std::int64_t>(db->Head.NumberOfRecords) * kOffsetSize);
}

void RefazerOS(DmOpenRef db) {
  if (!IsOpen(db) || db->hOS == nullptr) return;
  const Walk walk = walkRepaired(db);
  // What the rebuild is going to leave out can still be had from the copies.
  if (walk.records < db->Head.NumberOfRecords)
    for (const std::string& file : {std::string(db->fName), OffsetsName(db->fName)}) KeepCopy(wcDir, file.c_str());
  storeSlots(db, walk);
  storeEnd(db, walk);
}

int FindEor(DmOpenRef db, UInt32 offset) {
  return IsOpen(db) && IsRecord(UsedBytes(*db->hFile), offset);
}
