// Inside the storage floor: where the records of an open database lie.
#pragma once

#include "storage/files/mapped_file.h"
#include "storage/format/chain.h"
#include "storage/records/offsets.h"
#include "storage/records/open_databases.h"

namespace vorne {

/// The end of the bytes that are used.
inline UInt32 UsedEnd(const OpenStruct& db) {
  return static_cast<UInt32>(db.hFile->szmap);
}
inline RecordHeader HeaderAtPlace(const OpenStruct& db, UInt32 place) {
  return Load<RecordHeader>(db.hFile->mapmem + place);
}

/// Bytes from one record to the next in a database of equal records; 0 without a first one.
inline UInt32 RecordStride(const OpenStruct& db) {
  const UInt32 first = RecordsBegin(db.Head);
  if (first + kRecordHeaderSize > UsedEnd(db)) return 0;
  return HeaderAtPlace(db, first).RecordLen + kRecordHeaderSize;
}

/// Where record `index` (one that counts) begins: its header lies inside the used bytes and what it reserves too. 0
/// when that is not so. Inline, since every access goes through it.
inline UInt32 RecordPlace(const OpenStruct& db, UInt32 index) {
  const std::uint64_t place = IsVariable(db)
                                  ? (db.hOS == nullptr ? 0 : OffsetOf(db, index))
                                  : RecordsBegin(db.Head) + static_cast<std::uint64_t>(index) * RecordStride(db);
  const UInt32 end = UsedEnd(db);
  if (place < RecordsBegin(db.Head) || place + kRecordHeaderSize > end) return 0;
  const RecordHeader header = HeaderAtPlace(db, static_cast<UInt32>(place));
  if (header.RecordLen > header.AllocatedSpace || header.AllocatedSpace > end - kRecordHeaderSize - place) return 0;
  return static_cast<UInt32>(place);
}

/// Where the record at `place` ends. Equal records follow each other by their step, whatever a damaged header says.
UInt32 RecordEnd(const OpenStruct& db, UInt32 place);

}  // namespace vorne
