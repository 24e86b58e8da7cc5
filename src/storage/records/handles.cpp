#include "storage/records/handles.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "storage/databases/databases.h"
#include "storage/files/mapped_file.h"
#include "storage/journal/journal.h"
#include "storage/records/app_info.h"
#include "storage/records/records.h"

RecordStruct** MemHandles = nullptr;

namespace vorne {

namespace {

constexpr UInt32 kWords = kHandles / 64;
static_assert(kHandles % 64 == 0 && kWords <= 128);
constexpr UInt32 kBuckets = 8192;

// What the public table does not show.
struct Tables {
  RecordStruct records[kHandles];
  std::uint64_t used[kWords];    // a bit a slot
  std::uint64_t full[2];         // a bit a word of `used`
  UInt16 firstLocked[kBuckets];  // chains of locked handles by data pointer
};
Tables* tables = nullptr;
// The handle locked last stands in no chain yet: who walks through a database locks the same one again and again.
RecordStruct* newestLocked = nullptr;

UInt16 Bucket(const void* data) {
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(data));
  return static_cast<UInt16>((address * 0x9E3779B97F4A7C15u) >> 51);
}
static_assert(kBuckets == 1u << (64 - 51));

UInt32 FirstFreeSlot() {
  for (UInt32 half = 0; half < 2; ++half) {
    const auto word = half * 64 + static_cast<UInt32>(std::countr_one(tables->full[half]));
    if (word >= kWords) return kHandles;
    if (word < (half + 1) * 64) return word * 64 + static_cast<UInt32>(std::countr_one(tables->used[word]));
  }
  return kHandles;
}

void SetUsed(UInt32 slot, bool used) {
  std::uint64_t& word = tables->used[slot / 64];
  const std::uint64_t bit = std::uint64_t{1} << slot % 64;
  word = used ? word | bit : word & ~bit;
  std::uint64_t& full = tables->full[slot / 4096];
  const std::uint64_t fullBit = std::uint64_t{1} << slot / 64 % 64;
  full = ~word == 0 ? full | fullBit : full & ~fullBit;
}

void LeaveBucket(RecordStruct* record) {
  if (record->hash == kNoHandle) return;
  UInt16* link = &tables->firstLocked[record->hash];
  while (&tables->records[*link] != record) link = &tables->records[*link].sameHash;
  *link = record->sameHash;
  record->hash = kNoHandle;
}

void JoinBucket(RecordStruct* record) {
  const UInt16 bucket = Bucket(record->data);
  if (record->hash == bucket) return;
  LeaveBucket(record);
  record->sameHash = tables->firstLocked[bucket];
  tables->firstLocked[bucket] = record->slot;
  record->hash = bucket;
}

bool IsLockedAt(const RecordStruct* record, const void* data) {
  return record != nullptr && record->data == data && record->locked;
}

void JoinFather(RecordStruct* record) {
  record->next = record->father->firstHandle;
  record->previous = kNoHandle;
  if (record->next != kNoHandle) tables->records[record->next].previous = record->slot;
  record->father->firstHandle = record->slot;
}

void LeaveFather(RecordStruct* record) {
  if (record->next != kNoHandle) tables->records[record->next].previous = record->previous;
  if (record->previous != kNoHandle)
    tables->records[record->previous].next = record->next;
  else
    record->father->firstHandle = record->next;
}

}  // namespace

bool MakeHandles() {
  MemHandles = static_cast<RecordStruct**>(std::calloc(kHandles + 1, sizeof(RecordStruct*)));
  tables = static_cast<Tables*>(std::calloc(1, sizeof(Tables)));
  if (MemHandles == nullptr || tables == nullptr) {
    FreeHandles();
    return false;
  }
  std::memset(tables->firstLocked, 0xFF, sizeof tables->firstLocked);
  return true;
}

void FreeHandles() {
  std::free(MemHandles);
  std::free(tables);
  MemHandles = nullptr;
  tables = nullptr;
  newestLocked = nullptr;
}

RecordStruct* TakeHandle(DmOpenRef father) {
  const UInt32 slot = FirstFreeSlot();
  if (slot >= kHandles) return nullptr;
  SetUsed(slot, true);
  RecordStruct* record = &tables->records[slot];
  *record = {};
  record->slot = static_cast<UInt16>(slot);
  record->father = father;
  record->hash = kNoHandle;
  MemHandles[slot] = record;
  JoinFather(record);
  return record;
}

void FreeHandle(RecordStruct* record) {
  if (record == nullptr) return;
  if (record == newestLocked) newestLocked = nullptr;
  LeaveBucket(record);
  LeaveFather(record);
  if (record->onHeap) std::free(record->data);
  const UInt32 slot = record->slot;
  MemHandles[slot] = nullptr;
  SetUsed(slot, false);
  OpenStruct& father = *record->father;
  if (father.Record == slot) father.Record = kNoRecord;
  if (father.appInfoID == slot + 1u) father.appInfoID = 0;
}

void FreeHandlesOf(DmOpenRef father) {
  while (father->firstHandle != kNoHandle) FreeHandle(&tables->records[father->firstHandle]);
}

RecordStruct* RecordOf(MemHandle handle) {
  if (MemHandles == nullptr || handle == nullptr) return nullptr;
  const auto first = reinterpret_cast<std::uintptr_t>(MemHandles);
  const auto place = reinterpret_cast<std::uintptr_t>(handle) - first;
  if (place >= kHandles * sizeof(RecordStruct*) || place % sizeof(RecordStruct*) != 0) return nullptr;
  return *handle;
}

RecordStruct* LockedRecordAt(const void* data) {
  if (tables == nullptr || data == nullptr) return nullptr;
  RecordStruct* found = nullptr;
  for (UInt16 slot = tables->firstLocked[Bucket(data)]; slot != kNoHandle; slot = tables->records[slot].sameHash) {
    RecordStruct* record = &tables->records[slot];
    if (IsLockedAt(record, data) && (found == nullptr || record < found)) found = record;
  }
  return IsLockedAt(newestLocked, data) && (found == nullptr || newestLocked < found) ? newestLocked : found;
}

void NoteLocked(RecordStruct* record) {
  if (record == newestLocked) return;
  if (newestLocked != nullptr) JoinBucket(newestLocked);
  newestLocked = record;
}

void PlaceHandles(DmOpenRef db) {
  for (UInt16 slot = db->firstHandle; slot != kNoHandle; slot = tables->records[slot].next) {
    RecordStruct& record = tables->records[slot];
    if (record.onHeap) continue;
    record.data = db->hFile->mapmem + record.rOffset + (record.isAppInfo ? 0 : kRecordHeaderSize);
    if (record.locked) NoteLocked(&record);
  }
}

namespace {

// What does not count yet needs no protection. The mark by which records of early versions are told is the last but one
// byte: it comes last, so that a record of which only a part was written is never taken for one of them.
template <class Storing>
void StoreUncounted(char* at, UInt32 length, UInt32 left, Storing store) {
  constexpr UInt32 kMarkBytes = 2;
  const UInt32 last = left >= kMarkBytes ? 0 : std::min(length, kMarkBytes - left);
  char end[kMarkBytes];
  store(end, length - last, last);
  store(at, 0, length - last);
  StoreBarrier();
  std::memcpy(at + length - last, end, last);
}

// A handle's bytes, for a change of them: `store(at, from, n)` puts n of the new bytes, from `from` on, at `at`.
static_assert(kLargestRecord <= kLargestProtected);
template <class Storing>
Err Change(void* data, UInt32 offset, UInt32 length, Storing store) {
  RecordStruct* record = LockedRecordAt(data);
  if (record == nullptr) return errArgument;
  if (offset > record->size || length > record->size - offset) return errWriteOutOfBounds;
  if (length == 0) return errNone;
  char* at = record->data + offset;
  if (record->isnew || record->onHeap) {
    StoreUncounted(at, length, record->size - offset - length, store);
  } else {
    pmymap file = record->father->hFile;
    const auto place = static_cast<UInt32>(at - file->mapmem);
    // A record is stored at once; only an application-info block that another program made can be larger.
    for (UInt32 done = 0; done < length; done += kLargestProtected) {
      const UInt32 part = std::min(length - done, kLargestProtected);
      StoreProtected(file, place + done, part, [&](char* to) { store(to, done, part); });
    }
  }
  record->dirty = 1;
  return errNone;
}

}  // namespace

}  // namespace vorne

using namespace vorne;

Err DmWrite(void* data, UInt32 offset, const void* source, UInt32 length) {
  if (data == nullptr || (source == nullptr && length != 0)) return errArgument;
  return Change(data, offset, length, [source](char* at, UInt32 from, UInt32 n) {
    std::memmove(at, static_cast<const char*>(source) + from, n);
  });
}

Err DmSet(void* data, UInt32 offset, UInt32 length, UInt8 value) {
  if (data == nullptr) return errArgument;
  return Change(data, offset, length, [value](char* at, UInt32, UInt32 n) { std::memset(at, value, n); });
}

void* MemHandleLock(MemHandle handle) {
  RecordStruct* record = RecordOf(handle);
  if (record == nullptr) return nullptr;
  if (record->locked) std::printf("already locked");
  record->locked = 1;
  NoteLocked(record);
  return record->data;
}

Err MemHandleUnlock(MemHandle handle) {
  RecordStruct* record = RecordOf(handle);
  if (record == nullptr) return errArgument;
  record->locked = 0;
  return errNone;
}

Err MemPtrUnlock(void* data) {
  RecordStruct* record = LockedRecordAt(data);
  if (record == nullptr) return errArgument;
  record->locked = 0;
  return errNone;
}

MemHandle MemPtrRecoverHandle(void* data) {
  return HandleOf(LockedRecordAt(data));
}

UInt32 MemHandleSize(MemHandle handle) {
  const RecordStruct* record = RecordOf(handle);
  return record == nullptr ? 0 : record->size;
}

LocalID MemHandleToLocalID(MemHandle handle) {
  const RecordStruct* record = RecordOf(handle);
  return record == nullptr ? 0 : static_cast<LocalID>(record->slot + 1);
}

void* MemLocalIDToLockedPtr(LocalID id, UInt16) {
  RecordStruct* record = RecordInSlot(id - 1);
  return record == nullptr ? nullptr : MemHandleLock(HandleOf(record));
}

Err MemHandleResize(MemHandle handle, UInt32 size) {
  RecordStruct* record = RecordOf(handle);
  if (record == nullptr) return errArgument;
  if (size > kLargestRecord) return errWriteOutOfBounds;
  if (size == 0) size = 1;
  if (size == record->size) return errNone;
  if (record->isAppInfo || record->onHeap) return ResizeAppInfo(record, size);
  return ResizeRecord(record, size);
}
