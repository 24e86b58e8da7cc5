// Inside the storage floor: a table's record as bytes, and the field buffer that it is loaded into. Pure functions.
//
// In the buffer every field has a place of its own size: numbers and dates 8 bytes, logicals 1, memo references 4, all
// others their length and 2 bytes more. In the record the fields stand one behind the other, texts without trailing
// blanks and with a zero; the deletion mark and a zero are its last two bytes.
#pragma once

#include <cstddef>

#include "storage/format/description.h"

namespace vorne {

inline constexpr char kDeleted = '*';
inline constexpr char kLive = '!';
inline constexpr std::uint32_t kEndMarkSize = 2;

/// Bytes that a field has in the buffer.
std::int32_t BufferRoom(const ControlFieldTBL& field);
/// Blank texts, zeros elsewhere, no deletion mark: as a new record begins.
void BlankFields(Fields fields, char* buffer);
/// True when the buffer carries the deletion mark.
bool IsMarkedDeleted(Fields fields, const char* buffer);
void MarkDeleted(Fields fields, char* buffer, bool deleted);

/// Bytes of the record that the buffer makes, the end mark included. Trailing blanks of texts become zero bytes in the
/// buffer. 0 for fields that cannot be stored.
std::size_t StoredSize(Fields fields, char* buffer);
/// Writes the record into `size` bytes (at least StoredSize), zeros before the end mark included.
void StoreFields(Fields fields, const char* buffer, bool swapped, char* record, std::size_t size);
/// Loads a record of any bytes; what it does not have is blank or 0.
void LoadFields(Fields fields, std::span<const char> record, bool swapped, char* buffer);
/// How many bytes stand between the last field and the end mark: a record that was longer keeps its length.
std::size_t BytesBehindFields(Fields fields, std::span<const char> record);
/// The bytes at the record's end that carry its deletion mark: two, and all behind its fields where a process died when
/// it had made the record longer, since the mark then stands in front of zeros.
std::span<const char> MarkBytes(Fields fields, std::span<const char> record);
/// True when the record carries the deletion mark.
bool IsDeletedRecord(Fields fields, std::span<const char> record);

/// True for what a field of that type can hold, a number (none below 1e-307: nobody computes with such, they are bytes
/// of another field) or a day that exists. Of other types anything.
bool IsValueOf(FType type, double value);
/// True for bytes that a table with these fields can hold as a record: every field has its bytes and no more than it
/// may have, numbers and days are some, logicals are 0 or 1, nothing but zeros stands between the last field and the
/// end mark. For what comes from outside. `memosAt` becomes where the memo references begin.
bool IsRecordOf(Fields fields, std::span<const char> record, std::vector<std::uint32_t>& memosAt);

/// A field's value in a buffer.
double NumberIn(const ControlFieldTBL& field, const char* buffer);
bool LogicalIn(const ControlFieldTBL& field, const char* buffer);
std::uint32_t MemoIn(const ControlFieldTBL& field, const char* buffer);
/// Up to its terminator, without trailing blanks.
std::string_view TextIn(const ControlFieldTBL& field, const char* buffer);

}  // namespace vorne
