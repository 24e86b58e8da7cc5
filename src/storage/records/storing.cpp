// Everything that stores a whole record goes through here, so that no caller has to know in which order length, bytes
// and count must change.
#include "storage/records/storing.h"

#include "storage/files/mapped_file.h"
#include "storage/records/handle_calls.h"
#include "storage/records/open_databases.h"
#include "storage/records/records.h"

namespace vorne {

namespace {

bool storeHeld(DmOpenRef db, RecordStruct& record, std::span<const char> bytes, Boolean dirty) {
  const UInt32 index = record.index;
  // Released whatever came of it: nobody else knows of the handle.
  const Err written = WriteBytes(record, 0, bytes);
  return DmReleaseRecord(db, index, dirty) == errNone && written == errNone;
}

// A longer one before its bytes are stored, a shorter one together with them.
Err fit(RecordStruct& record, UInt32 size) {
  if (size == record.size) return errNone;
  return size > record.size ? GrowRecord(&record, size) : ResizeRecord(&record, size);
}

}  // namespace

bool AppendRecord(DmOpenRef db, std::span<const char> bytes, UInt32* index, Boolean dirty) {
  if (bytes.size() > kLargestRecord) return false;
  UInt32 place = kAppend;
  const MemHandle handle = DmNewRecord(db, &place, static_cast<UInt32>(bytes.size()));
  if (handle == nullptr || !storeHeld(db, **handle, bytes, dirty)) return false;
  if (index != nullptr) *index = place;
  return true;
}

bool TryAppendRecord(DmOpenRef db, std::span<const char> bytes, UInt32* index) {
  return IsOpen(db) && EnsureRoom(db->hFile, static_cast<long>(bytes.size() + kRecordHeaderSize + 1)) &&
         (db->hOS == nullptr || EnsureRoom(db->hOS, kOffsetSize)) && AppendRecord(db, bytes, index);
}

bool StoreRecord(DmOpenRef db, UInt32 index, std::span<const char> bytes, Boolean dirty) {
  if (bytes.empty() || bytes.size() > kLargestRecord) return false;
  const MemHandle handle = DmGetRecord(db, index);
  if (handle == nullptr) return false;
  if (fit(**handle, static_cast<UInt32>(bytes.size())) == errNone) return storeHeld(db, **handle, bytes, dirty);
  DmReleaseRecord(db, index, dirty);
  return false;
}

}  // namespace vorne
