// A database holds one record at a time: asking for another one gives the same handle a new meaning, after writing back
// what was changed. What a handle shows is good until the next record is asked for.
#include "storage/records/records.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "storage/records/moves.h"
#include "storage/records/offsets.h"
#include "storage/records/open_databases.h"
#include "storage/records/waiting_entries.h"

namespace vorne {

namespace {

void storeRecordHeader(const OpenStruct& db, UInt32 place, const RecordHeader& header) {
  Store(db.hFile->mapmem + place, header);
}

RecordHeader newRecordHeader(UInt32 size) {
  // Without marks: until they are there it is a record that was begun, which the next opening takes out.
  return {static_cast<std::uint16_t>(size), static_cast<std::uint16_t>(size), 0, 0, 0};
}

RecordStruct* newHeld(DmOpenRef db) {
  RecordStruct* record = HeldRecord(*db);
  if (record == nullptr && (record = TakeHandle(db)) != nullptr) db->Record = record->slot;
  return record;
}

// The held handle, now standing for the record at `place`. Inline, since every read goes through it.
inline RecordStruct* hold(DmOpenRef db, UInt32 index, UInt32 place) {
  RecordStruct* record = newHeld(db);
  if (record == nullptr) return nullptr;
  const RecordHeader header = HeaderAtPlace(*db, place);
  record->index = index;
  record->size = header.RecordLen;
  record->sizeallocated = header.AllocatedSpace;
  record->rOffset = place;
  record->data = db->hFile->mapmem + place + kRecordHeaderSize;
  // It may have been locked by who asked for the record before: a lock is on a record, not on the handle.
  record->isnew = record->isAppInfo = record->dirty = record->locked = record->placed = 0;
  record->resize = 0;
  return record;
}

// Who reads in order finds what comes a little later in the cache.
void fetchAhead(const char* data) {
  constexpr std::size_t kAhead = 4096, kLine = 64;
  __builtin_prefetch(data + kAhead);
  __builtin_prefetch(data + kAhead + kLine);
}

// Where the next appended record goes. What may lie between the last record and the end of the used bytes counts for
// nothing, except in a 'V' database, where its chain decides.
UInt32 appendPlace(const OpenStruct& db) {
  const UInt32 records = RecordsBegin(db.Head);
  if (db.Head.NumberOfRecords == 0) return records;
  if (IsVariable(db)) return UsedEnd(db);
  return static_cast<UInt32>(records + static_cast<std::uint64_t>(db.Head.NumberOfRecords) * RecordStride(db));
}

// The end of the used bytes put where the next record goes, should it lie elsewhere.
void cutTo(DmOpenRef db, UInt32 place) {
  if (place >= UsedEnd(*db)) return;
  TailMove move = MoveOf(*db->hFile, place, 0);
  // Not the records behind it, as in a gap that closes: nothing there counts, so nothing moves.
  move.from = UsedEnd(*db);
  move.after.szmap = place;
  const ProtectedMove made(db->hFile, move);
}

UInt32 append(DmOpenRef db, UInt32 size) {
  const UInt32 place = appendPlace(*db);
  cutTo(db, place);
  const std::int64_t span = static_cast<std::int64_t>(place) - UsedEnd(*db) + size + kRecordHeaderSize;
  // A growth can move the mapping, and only then do the addresses that handles show have to be worked out again.
  const char* mapping = db->hFile->mapmem;
  if (!EnsureRoom(db->hFile, static_cast<long>(span)) || (db->hOS != nullptr && !EnsureRoom(db->hOS, kOffsetSize)))
    GrowthFailure(*db->hFile);
  // Its header stands before its bytes are used ones: at no moment does the chain end in bytes that are no header.
  storeRecordHeader(*db, place, newRecordHeader(size));
  ExtendUsed(db->hFile, span);
  db->Head = HeaderOf(*db->hFile);
  if (db->hFile->mapmem != mapping) PlaceHandles(db);
  return place;
}

UInt32 insert(DmOpenRef db, UInt32 index, UInt32 size) {
  const UInt32 place = RecordPlace(*db, index);
  if (place == 0) return 0;
  // All room first: once the move has begun nothing may fail any more.
  const UInt32 span = size + kRecordHeaderSize;
  if (!EnsureRoom(db->hFile, static_cast<long>(span)) || (db->hOS != nullptr && !EnsureRoom(db->hOS, kOffsetSize)))
    GrowthFailure(*db->hFile);
  TailMove move = MoveOf(*db->hFile, place, span);
  move.patchAt = place;
  move.patch = newRecordHeader(size);
  move.offsetsFollow = db->hOS != nullptr;
  {
    const ProtectedMove made(db->hFile, move);
    InsertOffset(db, index, place, span);
  }
  FollowMove(db, move);
  return place;
}

}  // namespace

std::span<const char> BytesOf(DmOpenRef db, UInt32 index) {
  if (!IsOpen(db)) return {};
  SettleHeld(db);
  const UInt32 place = index < db->Head.NumberOfRecords ? RecordPlace(*db, index) : 0;
  if (place == 0) return {};
  fetchAhead(db->hFile->mapmem + place);
  return {db->hFile->mapmem + place + kRecordHeaderSize, HeaderAtPlace(*db, place).RecordLen};
}

void SettleHeld(DmOpenRef db) {
  const RecordStruct* record = HeldRecord(*db);
  if (record != nullptr && (record->isnew || record->dirty)) __WriteRecordToFile(db, 0);
  if (db->waiting != nullptr) SettleEntries(db);
}

Err ResizeRecord(RecordStruct* record, UInt32 size) {
  DmOpenRef db = record->father;
  // Places are computed from the first record's length, so records of one length keep it.
  const bool growsAlone = record->isnew && db->Head.NumberOfRecords == 0 && size > record->sizeallocated;
  if (!IsVariable(*db) && size != record->sizeallocated && !growsAlone &&
      (size > record->sizeallocated || record->index == 0))
    return errWriteOutOfBounds;
  if (size > record->sizeallocated) {
    const UInt32 grown = size - record->sizeallocated;
    if (!EnsureRoom(db->hFile, static_cast<long>(grown))) GrowthFailure(*db->hFile);
    TailMove move = MoveOf(*db->hFile, record->rOffset + kRecordHeaderSize + record->sizeallocated, grown);
    move.patchAt = record->rOffset;
    move.patch = HeaderAtPlace(*db, record->rOffset);
    move.patch.AllocatedSpace = static_cast<std::uint16_t>(size);
    // One that does not count yet has no other bytes to keep. An old one's length follows when the record is written.
    if (record->isnew) move.patch.RecordLen = move.patch.AllocatedSpace;
    move.offsetsFollow = db->hOS != nullptr;
    {
      const ProtectedMove made(db->hFile, move);
      ShiftOffsets(db, record->index + 1, grown);
    }
    record->sizeallocated = size;
    FollowMove(db, move);
  }
  // A record that gets shorter keeps its space: nothing behind it moves, and it may grow back.
  record->size = size;
  record->dirty = 1;
  return errNone;
}

Err GrowRecord(RecordStruct* record, UInt32 size) {
  const Boolean dirty = (HeaderAtPlace(*record->father, record->rOffset).RecordAttr & kDirty) != 0;
  const Err grown = ResizeRecord(record, size);
  if (grown == errNone) __WriteRecordToFile(record->father, dirty);
  return grown;
}

}  // namespace vorne

using namespace vorne;

UInt32 DmNumRecords(DmOpenRef db) {
  if (!IsOpen(db)) return 0;
  if (db->waiting != nullptr) SettleEntries(db);
  return db->Head.NumberOfRecords;
}

MemHandle DmNewRecord(DmOpenRef db, UInt32* index, UInt32 size) {
  if (!IsOpen(db) || index == nullptr || size > kLargestRecord) return nullptr;
  if (size == 0) size = 1;
  SettleHeld(db);
  const UInt32 count = db->Head.NumberOfRecords;
  if (!IsVariable(*db) && count != 0 && size + kRecordHeaderSize != RecordStride(*db)) return nullptr;
  // The handle before the file: without one nothing may have been made.
  if (newHeld(db) == nullptr) return nullptr;

  const bool appends = *index >= count;
  const UInt32 place = appends ? append(db, size) : insert(db, *index, size);
  RecordStruct* record = place == 0 ? nullptr : hold(db, appends ? count : *index, place);
  if (record == nullptr) return nullptr;
  *index = record->index;
  record->isnew = 1;
  record->placed = !appends;
  return HandleOf(record);
}

UInt32 __WriteRecordToFile(DmOpenRef db, Boolean dirty) {
  RecordStruct* record = IsOpen(db) ? HeldRecord(*db) : nullptr;
  if (record == nullptr) return 0;
  // A header that says more than its space would make the next opening stop at this record.
  if (record->size > record->sizeallocated) record->size = record->sizeallocated;
  const UInt32 place = record->rOffset != 0 ? record->rOffset : __PositionOnRecordBegin(db, record->index);
  const auto length = static_cast<std::uint16_t>(record->size);
  const auto space = static_cast<std::uint16_t>(record->sizeallocated);
  const RecordHeader header{length, space, static_cast<std::uint16_t>(dirty ? kDirty : 0), kMark, kMark};
  // A record that was only looked at leaves its page clean.
  if (!record->isnew && !record->dirty && std::memcmp(db->hFile->mapmem + place, &header, sizeof header) == 0)
    return record->index;
  // Bytes, header, count, place: a new record becomes one by the marks in its header. Killed before them the next
  // opening takes it out as begun and not finished, behind them it counts it and tells its place, whatever of both is
  // missing.
  StoreBarrier();
  storeRecordHeader(*db, place, header);
  if (record->isnew) {
    StoreBarrier();
    StoreCount(db->hFile, ++db->Head.NumberOfRecords);
    if (!record->placed) AppendOffset(db, record->index, place);
  }
  // A new record is told together with the file's header: a request costs the same however far it reaches.
  const UInt32 from = record->isnew ? 0 : place;
  if (!bBatchOper) FlushViewOfFile(db->hFile->mapmem + from, place + kRecordHeaderSize + record->sizeallocated - from);
  record->isnew = record->dirty = record->placed = 0;
  record->resize = 0;
  return record->index;
}

MemHandle DmQueryRecord(DmOpenRef db, UInt32 index) {
  if (!IsOpen(db)) return nullptr;
  SettleHeld(db);
  const UInt32 place = index < db->Head.NumberOfRecords ? RecordPlace(*db, index) : 0;
  if (place == 0 || HeaderAtPlace(*db, place).RecordLen == 0) return nullptr;
  fetchAhead(db->hFile->mapmem + place);
  return HandleOf(hold(db, index, place));
}

MemHandle DmGetRecord(DmOpenRef db, UInt32 index) {
  const MemHandle handle = DmQueryRecord(db, index);
  if (handle == nullptr) return nullptr;
  RecordHeader header = HeaderAtPlace(*db, (*handle)->rOffset);
  header.RecordAttr |= kBusy;
  storeRecordHeader(*db, (*handle)->rOffset, header);
  return handle;
}

Err DmReleaseRecord(DmOpenRef db, UInt32 index, Boolean dirty) {
  if (!IsOpen(db)) return errArgument;
  RecordStruct* record = HeldRecord(*db);
  if (record == nullptr) return errNoSuchRecord;
  if (record->index != index) return errArgument;
  // Who only read a record leaves its bit as it was.
  const bool keepsDirty = !record->dirty && (HeaderAtPlace(*db, record->rOffset).RecordAttr & kDirty) != 0;
  __WriteRecordToFile(db, dirty || keepsDirty);
  FreeHandle(record);
  db->bFlushed = 0;
  return errNone;
}

Err DmRecordInfo(DmOpenRef db, UInt32 index, UInt16* attributes, UInt32*, LocalID*) {
  if (!IsOpen(db)) return errArgument;
  if (db->waiting != nullptr) SettleEntries(db);
  const UInt32 place = index < db->Head.NumberOfRecords ? RecordPlace(*db, index) : 0;
  if (place == 0) return errNoSuchRecord;
  if (attributes != nullptr) *attributes = HeaderAtPlace(*db, place).RecordAttr;
  return errNone;
}

Err DmSetRecordInfo(DmOpenRef db, UInt32 index, const UInt16* attributes, const UInt32*) {
  if (!IsOpen(db)) return errArgument;
  if (db->waiting != nullptr) SettleEntries(db);
  const UInt32 place = index < db->Head.NumberOfRecords ? RecordPlace(*db, index) : 0;
  if (place == 0) return errNoSuchRecord;
  if (attributes == nullptr) return errNone;
  RecordHeader header = HeaderAtPlace(*db, place);
  header.RecordAttr = *attributes & kKnownAttributes;
  storeRecordHeader(*db, place, header);
  if (!bBatchOper) FlushViewOfFile(db->hFile->mapmem + place, kRecordHeaderSize);
  return errNone;
}

Err DmSyncDatabase(DmOpenRef db) {
  if (!IsOpen(db)) return errArgument;
  if (db->waiting != nullptr) SettleEntries(db);
  FlushViewOfFile(db->hFile->mapmem, static_cast<std::size_t>(db->hFile->szmap));
  if (db->hOS != nullptr) FlushViewOfFile(db->hOS->mapmem, static_cast<std::size_t>(db->hOS->szmap));
  return errNone;
}

// These two are there for programs that link with them; they never did anything.
Err DmSearchRecord(MemHandle, DmOpenRef*) {
  return errNone;
}

Err DmResetRecordStates(DmOpenRef) {
  return errNone;
}

Err DmGetLastErr() {
  return static_cast<Err>(errno);
}
