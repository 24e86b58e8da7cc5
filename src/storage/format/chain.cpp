// A record is a header of 8 bytes and the space that it reserves; the next one follows at once, at any byte. Sums of a
// place and a length are made in 64 bits, so that no number of a damaged header can wrap.
#include "storage/format/chain.h"

namespace vorne {

namespace {

// Headers without marks come from early versions, whose records were never larger.
constexpr std::uint32_t kLargestUnmarked = 15360;
// One more than all known attributes together.
constexpr std::uint16_t kImplausibleAttributes = 241;

bool fits(FileBytes bytes, std::uint64_t offset, const RecordHeader& header) {
  return header.AllocatedSpace != 0 && header.AllocatedSpace >= header.RecordLen &&
         RecordSpan(header) <= BytesBehind(bytes, offset);
}

bool endsWithDeletionMark(FileBytes bytes, std::uint64_t offset, const RecordHeader& header) {
  if (header.RecordLen < 2) return false;
  const char mark = bytes[static_cast<std::size_t>(offset) + kRecordHeaderSize + header.RecordLen - 2];
  return mark == '!' || mark == '*';
}

}  // namespace

RecordHeader HeaderAt(FileBytes bytes, std::uint64_t offset) {
  if (BytesBehind(bytes, offset) < kRecordHeaderSize) return {};
  return Load<RecordHeader>(bytes.data() + static_cast<std::size_t>(offset));
}

bool IsRecord(FileBytes bytes, std::uint64_t offset) {
  const RecordHeader header = HeaderAt(bytes, offset);
  if (!fits(bytes, offset, header)) return false;
  if (IsMarked(header)) return true;
  return header.AllocatedSpace <= kLargestUnmarked && endsWithDeletionMark(bytes, offset, header);
}

bool IsAbandoned(FileBytes bytes, std::uint64_t offset) {
  const RecordHeader header = HeaderAt(bytes, offset);
  if (!fits(bytes, offset, header) || header.marca1 != 0 || header.marca2 != 0 || header.RecordAttr != 0 ||
      header.RecordLen != header.AllocatedSpace)
    return false;
  const std::uint64_t next = offset + RecordSpan(header);
  // What follows must be a record or the end: zeros alone look like a header that was never written.
  return next == bytes.size() || IsRecord(bytes, next);
}

std::uint64_t FirstRecord(FileBytes bytes, std::uint32_t appInfoLen) {
  const std::uint64_t usual = kHeaderSize + static_cast<std::uint64_t>(appInfoLen);
  if (IsMarked(HeaderAt(bytes, usual)) || IsRecord(bytes, usual)) return usual;
  // Some files in the field have 8 bytes between block and first record, which belong to neither.
  const std::uint64_t further = usual + kRecordHeaderSize;
  const RecordHeader header = HeaderAt(bytes, further);
  const bool plausible = fits(bytes, further, header) && header.RecordAttr < kImplausibleAttributes &&
                         (IsMarked(header) || header.AllocatedSpace <= kLargestUnmarked);
  return plausible ? further : usual;
}

}  // namespace vorne
