// The block lies between the file's header and its records, so that another length moves every record. A handle on it
// is not the held record: it stays until the block is written back, and its size may be another than the file's until
// then.
#include "storage/records/app_info.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "storage/records/moves.h"
#include "storage/records/offsets.h"
#include "storage/records/open_databases.h"
#include "storage/records/records.h"

namespace vorne {

namespace {

// Gives the block at the file's start `length` bytes, and those of `info` as its content; the records move by the
// difference. As a whole or not at all, also when the process dies. False when the file cannot grow.
bool setBlockLength(DmOpenRef db, UInt32 length, std::span<const char> info = {}) {
  const UInt32 old = db->Head.AppInfoLen;
  const auto stored = static_cast<UInt32>(info.size());
  if (length == old && !info.empty())
    StoreProtected(db->hFile, kHeaderSize, stored, [info](char* at) { std::memcpy(at, info.data(), info.size()); });
  if (length == old) return true;
  const std::int64_t moved = static_cast<std::int64_t>(length) - old;
  if (moved > 0 && !EnsureRoom(db->hFile, static_cast<long>(moved))) return false;
  // New content travels in the journal with the move, so that no block has one length and another one's bytes.
  TailMove move = MoveOf(*db->hFile, kHeaderSize + std::min(old, length), moved);
  move.after.AppInfoLen = length;
  move.info = info;
  move.offsetsFollow = db->hOS != nullptr;
  // A header that says less than its block holds: what is there stays, what is missing is room.
  if (static_cast<std::int64_t>(move.from) > db->hFile->szmap) return false;
  {
    const ProtectedMove made(db->hFile, move);
    ShiftOffsets(db, 0, moved);
  }
  FollowMove(db, move);
  return true;
}

RecordStruct* newBlockHandle(DmOpenRef db, UInt32 size) {
  RecordStruct* block = TakeHandle(db);
  if (block == nullptr) return nullptr;
  block->size = block->sizeallocated = size;
  block->rOffset = kHeaderSize;
  block->isAppInfo = 1;
  block->data = db->hFile->mapmem + kHeaderSize;
  db->appInfoID = block->slot + 1u;
  return block;
}

// Brings the file in step with the block's handle, which stays.
bool storeBlock(DmOpenRef db, RecordStruct* block) {
  if (!setBlockLength(db, block->size)) return false;
  block->sizeallocated = block->size;
  block->isnew = block->dirty = 0;
  FlushViewOfFile(block->data, block->size);
  return true;
}

bool hasNothing(const OpenStruct& db) {
  return db.Head.NumberOfRecords == 0 && db.Head.AppInfoLen == 0 && db.appInfoID == 0 && HeldRecord(db) == nullptr;
}

}  // namespace

RecordStruct* AppInfoOf(const OpenStruct& db) {
  // An ID is a slot plus one; 0 wraps to a slot that there is not.
  RecordStruct* block = RecordInSlot(db.appInfoID - 1);
  return block != nullptr && block->father == &db ? block : nullptr;
}

Err ResizeAppInfo(RecordStruct* block, UInt32 size) {
  // Not the database's yet: memory grows, no record moves.
  if (block->onHeap) {
    auto* data = static_cast<char*>(std::realloc(block->data, size));
    if (data == nullptr) return errWriteOutOfBounds;
    if (size > block->size) std::memset(data + block->size, 0, size - block->size);
    block->data = data;
    if (block->locked) NoteLocked(block);
  } else if (size > block->sizeallocated) {
    if (!setBlockLength(block->father, size)) GrowthFailure(*block->father->hFile);
  }
  block->sizeallocated = std::max(block->sizeallocated, size);
  block->size = size;
  block->dirty = 1;
  return errNone;
}

Err SetAppInfo(DmOpenRef db, LocalID id) {
  RecordStruct* space = RecordInSlot(id - 1);
  // The ID comes from a program: only space of this very database may become its block, and no record of it.
  if (!IsOpen(db) || space == nullptr || space->father != db || !(space->onHeap || space->isAppInfo))
    return errArgument;
  SettleHeld(db);
  if (!space->onHeap) return storeBlock(db, space) ? errNone : errWriteOutOfBounds;
  if (!setBlockLength(db, space->size, {space->data, space->size})) return errWriteOutOfBounds;
  FreeHandle(AppInfoOf(*db));
  // The handle stays the caller's and now stands for the block itself.
  std::free(space->data);
  space->onHeap = space->isnew = space->dirty = 0;
  space->isAppInfo = 1;
  space->sizeallocated = space->size;
  space->rOffset = kHeaderSize;
  db->appInfoID = id;
  PlaceHandles(db);
  return errNone;
}

}  // namespace vorne

using namespace vorne;

int __GetAppInfo(DmOpenRef db) {
  if (!IsOpen(db)) return 0;
  if (!db->HeadReaded) {
    db->Head = HeaderOf(*db->hFile);
    db->HeadReaded = 1;
  }
  if (AppInfoOf(*db) == nullptr) db->appInfoID = 0;
  if (db->Head.AppInfoLen != 0 && db->appInfoID == 0) newBlockHandle(db, db->Head.AppInfoLen);
  return 1;
}

int __WriteAppInfo(DmOpenRef db) {
  RecordStruct* block = IsOpen(db) ? AppInfoOf(*db) : nullptr;
  if (block == nullptr || !(block->isnew || block->dirty)) return 1;
  if (!storeBlock(db, block)) return 0;
  FreeHandle(block);
  return 1;
}

MemHandle DmNewHandle(DmOpenRef db, UInt32 size) {
  if (!IsOpen(db) || size == 0 || size > kLargestNewSpace) return nullptr;
  if (hasNothing(*db)) {
    // What is left of a record that was begun would be moved on, behind the block.
    if (db->hFile->szmap > static_cast<std::int32_t>(kHeaderSize)) DropRecords(db->hFile);
    if (!setBlockLength(db, size)) GrowthFailure(*db->hFile);
    RecordStruct* block = newBlockHandle(db, size);
    if (block != nullptr) block->isnew = 1;
    return HandleOf(block);
  }
  // Until it becomes the application-info block such space is nobody's record: at the end of the file it would break
  // the chain of records.
  auto* data = static_cast<char*>(std::calloc(1, size));
  RecordStruct* space = data == nullptr ? nullptr : TakeHandle(db);
  if (space == nullptr) {
    std::free(data);
    return nullptr;
  }
  space->size = space->sizeallocated = size;
  space->onHeap = space->isnew = 1;
  space->data = data;
  return HandleOf(space);
}
