// Loading believes nothing: a record may be shorter than its fields and then gives blank ones. Storing is exact: the
// bytes come to the size that StoredSize told.
#include "storage/format/record_bytes.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "runtime/cursor.h"

// Records come from machines that keep the highest byte first, whatever the machine that reads them.
Boolean bswapnum = std::endian::native == std::endian::little;

namespace vorne {

namespace {

constexpr std::int32_t kNumberRoom = 8, kLogicalRoom = 1, kMemoRoom = 4;
// Behind a text: its zero, and one byte more.
constexpr std::int32_t kTextSpare = 2;
// Dates are days counted from 30 December 1899, which stands for the empty date.
constexpr double kFirstDay = -693593, kBehindLastDay = 2958466;  // 1 January 1, 1 January 10000

// The record holds the mark at its end, not as a field.
Fields stored(Fields fields) {
  return fields.first(fields.size() - 1);
}

std::size_t textLength(const ControlFieldTBL& field, const char* at) {
  return ::strnlen(at, static_cast<std::size_t>(field.FieldLen));
}

std::size_t withoutBlanks(const char* at, std::size_t length) {
  while (length > 0 && at[length - 1] == ' ') --length;
  return length;
}

// What lies behind a record's end reads as a blank text or 0.
void loadText(const ControlFieldTBL& field, ByteReader& from, char* at) {
  const std::string_view text = from.text();
  const std::size_t used = text.copy(at, static_cast<std::size_t>(field.FieldLen));
  std::memset(at + used, 0, static_cast<std::size_t>(BufferRoom(field)) - used);
}

void loadField(const ControlFieldTBL& field, ByteReader& from, std::endian order, char* at) {
  switch (field.FieldType) {
    case TBLNUM:
    case TBLDATE:
      return Store(at, from.number<std::uint64_t>(order));
    case TBLMEMO:
      return Store(at, from.number<std::uint32_t>(order));
    case TBLBOOL:
      *at = from.atEnd() ? '\0' : from.take(1)[0];
      return;
    default:
      return loadText(field, from, at);
  }
}

bool endsInZeros(std::span<const char> record) {
  return record.size() >= kEndMarkSize && record[record.size() - 2] == '\0' && record[record.size() - 1] == '\0';
}

// What a dying process had made longer, but not written yet, ends with zeros: its mark stands where it stood before.
char markOf(std::span<const char> record, std::span<const char> behindFields) {
  if (record.size() < kEndMarkSize) return kLive;
  if (!endsInZeros(record)) return record[record.size() - kEndMarkSize];
  const auto mark = std::find_if(behindFields.begin(), behindFields.end(), [](char c) { return c != '\0'; });
  return mark == behindFields.end() ? kLive : *mark;
}

std::endian orderOf(bool swapped) {
  const bool littleHere = std::endian::native == std::endian::little;
  return swapped == littleHere ? std::endian::big : std::endian::little;
}

std::span<const char> fieldBytes(std::span<const char> record) {
  return record.first(record.size() - std::min<std::size_t>(record.size(), kEndMarkSize));
}

}  // namespace

std::int32_t BufferRoom(const ControlFieldTBL& field) {
  switch (field.FieldType) {
    case TBLNUM:
    case TBLDATE:
      return kNumberRoom;
    case TBLBOOL:
      return kLogicalRoom;
    case TBLMEMO:
      return kMemoRoom;
    default:
      return field.FieldLen + kTextSpare;
  }
}

void BlankFields(Fields fields, char* buffer) {
  const ControlFieldTBL& last = fields.back();
  std::memset(buffer, 0, static_cast<std::size_t>(last.iOffset + BufferRoom(last)));
}

bool IsMarkedDeleted(Fields fields, const char* buffer) {
  return buffer[fields.back().iOffset] == kDeleted;
}

void MarkDeleted(Fields fields, char* buffer, bool deleted) {
  buffer[fields.back().iOffset] = deleted ? kDeleted : '\0';
}

std::size_t StoredSize(Fields fields, char* buffer) {
  std::size_t size = kEndMarkSize;
  for (const ControlFieldTBL& field : stored(fields)) {
    // Types that descriptions may name and records have never held.
    if (field.FieldType > TBLMEMO) return 0;
    if (field.FieldType != TBLSTRING) {
      size += static_cast<std::size_t>(BufferRoom(field));
      continue;
    }
    char* at = buffer + field.iOffset;
    const std::size_t length = textLength(field, at);
    const std::size_t used = withoutBlanks(at, length);
    // In the buffer itself: the bytes are stored by what the buffer holds, and must come to the size told here.
    std::memset(at + used, 0, length - used);
    size += used + 1;
  }
  return size;
}

void StoreFields(Fields fields, const char* buffer, bool swapped, char* record, std::size_t size) {
  char* to = record;
  for (const ControlFieldTBL& field : stored(fields)) {
    const char* at = buffer + field.iOffset;
    const auto room = static_cast<std::size_t>(BufferRoom(field));
    if (field.FieldType == TBLSTRING) {
      const std::size_t length = textLength(field, at);
      std::memcpy(to, at, length);
      to[length] = '\0';
      to += length + 1;
      continue;
    }
    std::memcpy(to, at, room);
    if (swapped && room == kNumberRoom) Store(to, SwapBytes(Load<std::uint64_t>(to)));
    // By their rooms: what takes 8 bytes is a number or a date, what takes 4 a memo's number, and nothing else does.
    if (swapped && room == kMemoRoom) Store(to, SwapBytes(Load<std::uint32_t>(to)));
    to += room;
  }
  char* end = record + size - kEndMarkSize;
  std::memset(to, 0, static_cast<std::size_t>(end - to));
  end[0] = IsMarkedDeleted(fields, buffer) ? kDeleted : kLive;
  end[1] = '\0';
}

void LoadFields(Fields fields, std::span<const char> record, bool swapped, char* buffer) {
  ByteReader from(fieldBytes(record));
  const std::endian order = orderOf(swapped);
  for (const ControlFieldTBL& field : stored(fields)) loadField(field, from, order, buffer + field.iOffset);
  const ControlFieldTBL& mark = fields.back();
  std::memset(buffer + mark.iOffset, 0, static_cast<std::size_t>(BufferRoom(mark)));
  buffer[mark.iOffset] = markOf(record, from.rest()) == kDeleted ? kDeleted : '\0';
}

std::size_t BytesBehindFields(Fields fields, std::span<const char> record) {
  ByteReader from(fieldBytes(record));
  for (const ControlFieldTBL& field : stored(fields))
    if (field.FieldType == TBLSTRING)
      from.text();
    else
      from.take(static_cast<std::size_t>(BufferRoom(field)));
  return from.rest().size();
}

std::span<const char> MarkBytes(Fields fields, std::span<const char> record) {
  const std::size_t markSize = std::min<std::size_t>(record.size(), kEndMarkSize);
  // The mark is nearly always where it belongs: then no field needs to be passed over.
  if (!endsInZeros(record)) return record.last(markSize);
  return record.last(BytesBehindFields(fields, record) + markSize);
}

bool IsDeletedRecord(Fields fields, std::span<const char> record) {
  return markOf(record, MarkBytes(fields, record)) == kDeleted;
}

bool IsValueOf(FType type, double value) {
  if (type == TBLNUM) return value == 0 || std::isnormal(value);
  return type != TBLDATE || (value >= kFirstDay && value < kBehindLastDay);
}

bool IsRecordOf(Fields fields, std::span<const char> record, std::vector<std::uint32_t>& memosAt) {
  memosAt.clear();
  if (record.size() < kEndMarkSize) return false;
  const char* end = record.data() + record.size() - kEndMarkSize;
  if ((end[0] != kLive && end[0] != kDeleted) || end[1] != '\0') return false;
  ByteReader from(fieldBytes(record));
  for (const ControlFieldTBL& field : stored(fields)) {
    std::span<const char> bytes;
    if (field.FieldType == TBLSTRING) {
      if (!from.takeUntil('\0', bytes) || bytes.size() > static_cast<std::size_t>(field.FieldLen)) return false;
      continue;
    }
    if (field.FieldType == TBLMEMO)
      memosAt.push_back(static_cast<std::uint32_t>(record.size() - kEndMarkSize - from.rest().size()));
    bytes = from.take(static_cast<std::size_t>(BufferRoom(field)));
    if (from.failed() || field.FieldType > TBLMEMO) return false;
    if (field.FieldType == TBLBOOL && bytes[0] != 0 && bytes[0] != 1) return false;
    if (field.FieldType != TBLNUM && field.FieldType != TBLDATE) continue;
    ByteReader value(bytes);
    if (!IsValueOf(field.FieldType, std::bit_cast<double>(value.number<std::uint64_t>(orderOf(bswapnum)))))
      return false;
  }
  const std::span<const char> rest = from.rest();
  return std::all_of(rest.begin(), rest.end(), [](char c) { return c == '\0'; });
}

double NumberIn(const ControlFieldTBL& field, const char* buffer) {
  return Load<double>(buffer + field.iOffset);
}

bool LogicalIn(const ControlFieldTBL& field, const char* buffer) {
  return buffer[field.iOffset] != 0;
}

std::uint32_t MemoIn(const ControlFieldTBL& field, const char* buffer) {
  return Load<std::uint32_t>(buffer + field.iOffset);
}

std::string_view TextIn(const ControlFieldTBL& field, const char* buffer) {
  const char* at = buffer + field.iOffset;
  return {at, withoutBlanks(at, textLength(field, at))};
}

}  // namespace vorne
