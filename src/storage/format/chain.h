// How records follow each other in a data file, told from its bytes alone. Rebuilding the offsets file, checking and
// repairing all go by these rules.
#pragma once

#include <cstdint>
#include <span>

#include "storage/disk_layout.h"

namespace vorne {

/// A data file's bytes from its start to the end of what may hold records.
using FileBytes = std::span<const char>;

/// What is left of `bytes` behind `offset`; 0 past the end.
inline std::uint64_t BytesBehind(FileBytes bytes, std::uint64_t offset) {
  return offset < bytes.size() ? bytes.size() - offset : 0;
}

/// The end of the application-info block: nothing before it is a record's.
inline std::uint32_t RecordsBegin(const FileHeader& header) {
  return kHeaderSize + header.AppInfoLen;
}

inline bool IsMarked(const RecordHeader& header) {
  return header.marca1 == kMark && header.marca2 == kMark;
}

/// Bytes from a record's header to the next one.
inline std::uint32_t RecordSpan(const RecordHeader& header) {
  return kRecordHeaderSize + header.AllocatedSpace;
}

/// The header at `offset`; all zeros when it does not lie inside `bytes`.
RecordHeader HeaderAt(FileBytes bytes, std::uint64_t offset);

/// True when a record that counts stands at `offset`: it lies inside `bytes`, reserves at least what it uses, and
/// either carries the marks or, as files of early versions do, is not larger than 15360 bytes and has a deletion mark
/// ("!" or "*") as its last but one byte.
bool IsRecord(FileBytes bytes, std::uint64_t offset);

/// True when a record stands at `offset` that was begun and never written back: without marks, with all its space in
/// use, followed by a record or by the end of `bytes`.
bool IsAbandoned(FileBytes bytes, std::uint64_t offset);

/// Where the first record begins: behind the application-info block, or 8 bytes further when no record stands there and
/// a plausible one does.
std::uint64_t FirstRecord(FileBytes bytes, std::uint32_t appInfoLen);

}  // namespace vorne
