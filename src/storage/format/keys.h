// Inside the storage floor: keys of indexes. Pure functions. An entry is the record's position (4 bytes) and the key:
// its fields one behind the other, each padded to a fixed length so that the order of bytes is the order of keys.
#pragma once

#include "storage/format/description.h"

namespace vorne {

inline constexpr std::uint32_t kEntryKeyAt = 4;

/// Bytes of one field in a key; 0 for a field that cannot be a key.
std::int32_t KeyRoom(const ControlFieldTBL& field);
/// Bytes of the whole key; 0 when a number names no field or one that cannot be a key.
std::int32_t KeyRoom(Fields fields, KeyFields key);
/// The same key, should its numbers count the fields from 0.
std::vector<IDX_Indexes> NumberedFromOne(KeyFields key);
/// Writes the key of the buffer's record, KeyRoom bytes. `swapped` says that its numbers stand byte-swapped. False at a
/// field that cannot be a key.
bool MakeKey(Fields fields, KeyFields key, const char* buffer, bool swapped, char* at);
/// True when `key` is what MakeKey would write of the buffer, in which numbers are not swapped; nothing is made.
bool HasKey(Fields fields, KeyFields parts, const char* buffer, const char* key);
/// -1, 0 or 1, byte by byte.
int CompareKeys(const char* a, const char* b, std::size_t length);

/// A text, a number or a date as it stands in a key of that field.
std::string NumberKey(const ControlFieldTBL& field, double value);
std::string DateKey(datetime date);

}  // namespace vorne
