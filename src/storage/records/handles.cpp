// The handles live in one array that is made with the catalogue and never moves: what programs hold, a pointer into
// MemHandles, is good or null as long as the catalogue is open. Free slots are found by two levels of bits, the
// databases' own handles by a chain through the slots, locked ones by a hash of the pointer that programs have.
#include "storage/records/handles.h"

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

RecordStruct** MemHandles = nullptr;

namespace vorne {

namespace {

constexpr UInt32 kWords = kHandles / 64;
static_assert(kHandles % 64 == 0 && kWords <= 128);
constexpr UInt32 kBuckets = 8192;

// What the public table does not show.
// A locked handle is in the chain of its data pointer, or is the one locked last. The chains may hold others too: one
// that is unlocked or moves stays where it is, since whoever searches compares pointer and lock anyway, and is put
// right when it is locked again. `hash` names the chain in which a handle is, so that it can leave it.
struct HandleTables {
  // MemHandles[i] is &records[i] while slot i is taken, else null.
  RecordStruct records[kHandles];
  std::uint64_t used[kWords];    // a bit a slot
  std::uint64_t full[2];         // a bit a word of `used`
  UInt16 firstLocked[kBuckets];  // chains of locked handles by data pointer
};
HandleTables* tables = nullptr;
// The handle locked last stands in no chain yet: who walks through a database locks the same one again and again.
RecordStruct* newestLocked = nullptr;

// Spread by the golden ratio (2^64 divided by it), of whose product the highest bits are the best mixed ones: data
// pointers are multiples of 4 or more and lie close together.
UInt16 bucketOf(const void* data) {
  const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(data));
  return static_cast<UInt16>((address * 0x9E3779B97F4A7C15u) >> 51);
}
static_assert(kBuckets == 1u << (64 - 51));

// The lowest one. Bits for words that there are not stay 0 and lead behind the last word: all are taken then.
UInt32 firstFreeSlot() {
  for (UInt32 half = 0; half < 2; ++half) {
    const auto word = half * 64 + static_cast<UInt32>(std::countr_one(tables->full[half]));
    if (word >= kWords) return kHandles;
    if (word < (half + 1) * 64) return word * 64 + static_cast<UInt32>(std::countr_one(tables->used[word]));
  }
  return kHandles;
}

void setUsed(UInt32 slot, bool used) {
  std::uint64_t& word = tables->used[slot / 64];
  const std::uint64_t bit = std::uint64_t{1} << slot % 64;
  word = used ? word | bit : word & ~bit;
  std::uint64_t& full = tables->full[slot / 4096];
  const std::uint64_t fullBit = std::uint64_t{1} << slot / 64 % 64;
  full = ~word == 0 ? full | fullBit : full & ~fullBit;
}

// A handle with a hash is in that chain, so the search for what links to it ends.
void leaveBucket(RecordStruct* record) {
  if (record->hash == kNoHandle) return;
  UInt16* link = &tables->firstLocked[record->hash];
  while (&tables->records[*link] != record) link = &tables->records[*link].sameHash;
  *link = record->sameHash;
  record->hash = kNoHandle;
}

void joinBucket(RecordStruct* record) {
  const UInt16 bucket = bucketOf(record->data);
  if (record->hash == bucket) return;
  leaveBucket(record);
  record->sameHash = tables->firstLocked[bucket];
  tables->firstLocked[bucket] = record->slot;
  record->hash = bucket;
}

bool isLockedAt(const RecordStruct* record, const void* data) {
  return record != nullptr && record->data == data && record->locked;
}

// At the front of its database's chain: nobody asks for an order there.
void joinFather(RecordStruct* record) {
  record->next = record->father->firstHandle;
  record->previous = kNoHandle;
  if (record->next != kNoHandle) tables->records[record->next].previous = record->slot;
  record->father->firstHandle = record->slot;
}

void leaveFather(RecordStruct* record) {
  if (record->next != kNoHandle) tables->records[record->next].previous = record->previous;
  if (record->previous != kNoHandle)
    tables->records[record->previous].next = record->next;
  else
    record->father->firstHandle = record->next;
}

}  // namespace

bool MakeHandles() {
  MemHandles = static_cast<RecordStruct**>(std::calloc(kHandles + 1, sizeof(RecordStruct*)));
  tables = static_cast<HandleTables*>(std::calloc(1, sizeof(HandleTables)));
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
  const UInt32 slot = firstFreeSlot();
  if (slot >= kHandles) return nullptr;
  setUsed(slot, true);
  RecordStruct* record = &tables->records[slot];
  *record = {};
  record->slot = static_cast<UInt16>(slot);
  record->father = father;
  record->hash = kNoHandle;
  MemHandles[slot] = record;
  joinFather(record);
  return record;
}

void FreeHandle(RecordStruct* record) {
  if (record == nullptr) return;
  if (record == newestLocked) newestLocked = nullptr;
  leaveBucket(record);
  leaveFather(record);
  if (record->onHeap) std::free(record->data);
  const UInt32 slot = record->slot;
  MemHandles[slot] = nullptr;
  setUsed(slot, false);
  OpenStruct& father = *record->father;
  if (father.Record == slot) father.Record = kNoRecord;
  if (father.appInfoID == slot + 1u) father.appInfoID = 0;
}

void FreeHandlesOf(DmOpenRef father) {
  while (father->firstHandle != kNoHandle) FreeHandle(&tables->records[father->firstHandle]);
}

RecordStruct* LockedRecordAt(const void* data) {
  if (tables == nullptr || data == nullptr) return nullptr;
  RecordStruct* found = nullptr;
  // Two handles may be locked at one place, the held record's and one that a program kept. All lie in one array, so the
  // lower address is the lower slot.
  for (UInt16 slot = tables->firstLocked[bucketOf(data)]; slot != kNoHandle; slot = tables->records[slot].sameHash) {
    RecordStruct* record = &tables->records[slot];
    if (isLockedAt(record, data) && (found == nullptr || record < found)) found = record;
  }
  return isLockedAt(newestLocked, data) && (found == nullptr || newestLocked < found) ? newestLocked : found;
}

void NoteLocked(RecordStruct* record) {
  if (record == newestLocked) return;
  if (newestLocked != nullptr) joinBucket(newestLocked);
  newestLocked = record;
}

void PlaceHandles(DmOpenRef db) {
  for (UInt16 slot = db->firstHandle; slot != kNoHandle; slot = tables->records[slot].next) {
    RecordStruct& record = tables->records[slot];
    // Space that is no part of the file has not moved with it.
    if (record.onHeap) continue;
    record.data = db->hFile->mapmem + record.rOffset + (record.isAppInfo ? 0 : kRecordHeaderSize);
    if (record.locked) NoteLocked(&record);
  }
}

}  // namespace vorne
