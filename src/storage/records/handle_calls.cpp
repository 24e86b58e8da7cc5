// The calls by which programs read and write what a handle stands for. They pass data pointers, which LockedRecordAt
// turns back into handles: what is not locked is not written, and nothing is written outside of the record.
#include "storage/records/handle_calls.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "storage/files/mapped_file.h"
#include "storage/journal/journal.h"
#include "storage/records/app_info.h"
#include "storage/records/records.h"

using namespace vorne;

namespace {

// What does not count yet needs no protection. The mark by which records of early versions are told is the last but one
// byte: it comes last, so that a record of which only a part was written is never taken for one of them.
template <class Storing>
void storeUncounted(char* at, UInt32 length, UInt32 left, Storing store) {
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
Err changeBytes(RecordStruct* record, UInt32 offset, UInt32 length, Storing store) {
  if (record == nullptr) return errArgument;
  // By subtraction: the sum of two numbers from a program could wrap into what is allowed.
  if (offset > record->size || length > record->size - offset) return errWriteOutOfBounds;
  if (length == 0) return errNone;
  char* at = record->data + offset;
  if (record->isnew || record->onHeap) {
    storeUncounted(at, length, record->size - offset - length, store);
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

Err vorne::WriteBytes(RecordStruct& record, UInt32 offset, std::span<const char> bytes) {
  return changeBytes(&record, offset, static_cast<UInt32>(bytes.size()),
                     [bytes](char* at, UInt32 from, UInt32 n) { std::memmove(at, bytes.data() + from, n); });
}

Err DmWrite(void* data, UInt32 offset, const void* source, UInt32 length) {
  RecordStruct* record = LockedRecordAt(data);
  if (record == nullptr || (source == nullptr && length != 0)) return errArgument;
  return WriteBytes(*record, offset, {static_cast<const char*>(source), length});
}

Err DmSet(void* data, UInt32 offset, UInt32 length, UInt8 value) {
  return changeBytes(LockedRecordAt(data), offset, length,
                     [value](char* at, UInt32, UInt32 n) { std::memset(at, value, n); });
}

void* MemHandleLock(MemHandle handle) {
  RecordStruct* record = RecordOf(handle);
  if (record == nullptr) return nullptr;
  // Told, and no failure: who locks twice gets the same pointer.
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
  // A space of 0 would end the chain of records here.
  if (size == 0) size = 1;
  if (size == record->size) return errNone;
  if (record->isAppInfo || record->onHeap) return ResizeAppInfo(record, size);
  return ResizeRecord(record, size);
}
