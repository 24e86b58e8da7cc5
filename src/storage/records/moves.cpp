// A move has two sides: the file's, made by ProtectedMove so that a kill leaves all of it or nothing, and what is kept
// in memory of places in the file, which the Follow functions bring after it. Nothing may look at records between the
// two.
#include "storage/records/moves.h"

#include <algorithm>
#include <cstring>

#include "storage/records/handles.h"
#include "storage/records/offsets.h"

namespace vorne {

TailMove MoveOf(const mymap& map, UInt32 offset, std::int64_t n) {
  TailMove move{};
  move.from = n >= 0 ? offset : static_cast<UInt32>(offset - n);
  move.to = n >= 0 ? static_cast<UInt32>(offset + n) : offset;
  move.after = HeaderOf(map);
  move.after.szmap = std::max(kHeaderSize, static_cast<UInt32>(map.szmap + n));
  return move;
}

void DropRecords(pmymap map) {
  TailMove move{};
  move.after = HeaderOf(*map);
  // No byte moves: the tail is the nothing behind the end, put at the end of the block. What FinishMove zeros is then
  // everything in between.
  move.from = static_cast<UInt32>(map->szmap);
  move.to = std::min(RecordsBegin(move.after), move.from);
  move.after.NumberOfRecords = 0;
  move.after.szmap = move.to;
  move.offsetsFollow = move.after.Type == kVariableDatabase;
  const ProtectedMove made(map, move);
}

void EmptyRecords(DmOpenRef db) {
  FreeHandle(HeldRecord(*db));
  DropRecords(db->hFile);
  if (db->hOS != nullptr) RemoveOffset(db, 0, 0, OffsetSlots(*db));
  FollowGrowth(db);
}

// Handles keep places in the file. What they show programs, an address, is worked out from them again: the records have
// moved in the mapping, and the mapping itself may have moved when the file grew.
void FollowMove(DmOpenRef db, const TailMove& move) {
  for (UInt16 slot = db->firstHandle; slot != kNoHandle; slot = RecordInSlot(slot)->next) {
    RecordStruct& record = *RecordInSlot(slot);
    if (!record.isAppInfo && !record.onHeap && record.rOffset >= move.from) record.rOffset += move.to - move.from;
  }
  FollowGrowth(db);
}

void FollowGrowth(DmOpenRef db) {
  db->Head = HeaderOf(*db->hFile);
  PlaceHandles(db);
}

}  // namespace vorne

using namespace vorne;

// Both work at map->offset, which the caller has set (__PositionOnRecordBegin does). They know the one file: offsets
// beside it are their callers' matter.
int MoveFwd(pmymap map, long n) {
  if (map == nullptr || n <= 0) return 0;
  const std::int64_t position = map->offset;
  if (position > map->szmap) return increasefilesz(map, static_cast<long>(position - map->szmap));
  if (position < 0 || !EnsureRoom(map, n)) return 0;
  const ProtectedMove made(map, MoveOf(*map, static_cast<UInt32>(position), n));
  return 1;
}

int MoveBwd(pmymap map, long n) {
  if (map == nullptr) return 0;
  if (map->szmap < static_cast<std::int32_t>(kHeaderSize)) {
    FileHeader header = HeaderOf(*map);
    map->szmap = static_cast<std::int32_t>(kHeaderSize);
    WriteHeader(map, header);
    return 0;
  }
  const std::int64_t position = map->offset;
  // Kept as it is known: a position that cannot be a record's means that no record is wanted any more.
  if (position < RecordsBegin(HeaderOf(*map)) || position >= map->szmap) {
    DropRecords(map);
    return 0;
  }
  if (n <= 0) return 1;
  const std::int64_t closed = std::min<std::int64_t>(n, map->szmap - position);
  const ProtectedMove made(map, MoveOf(*map, static_cast<UInt32>(position), -closed));
  return 1;
}
