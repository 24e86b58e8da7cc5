// What both kinds of files are judged by: is this a record, do records follow, what does a mended header say.
#include "storage/repair/salvage.h"

namespace vorne {

namespace {

// Data holds the two bytes of the marks by chance, and now and then a length before them that leads to two more. Three
// in a row it hardly makes.
constexpr int kReliable = 3;

bool recordsFollow(FileBytes bytes, std::uint64_t place, std::uint64_t limit) {
  for (int i = 0; i < kReliable; ++i) {
    if (i > 0 && (place == limit || IsEmptyHeader(bytes, place))) return true;
    if (place >= limit || !IsPlainRecord(bytes, place)) return false;
    place += RecordSpan(HeaderAt(bytes, place));
  }
  return place <= limit;
}

}  // namespace

RecordHeader SavedHeader(FileBytes bytes, const Records& records, std::uint32_t place) {
  if (const auto remade = records.remade.find(place); remade != records.remade.end()) {
    const auto size = static_cast<std::uint16_t>(remade->second.size());
    return {size, size, 0, kMark, kMark};
  }
  const auto mended = records.mended.find(place);
  return mended == records.mended.end() ? HeaderAt(bytes, place) : mended->second;
}

std::span<const char> SavedRecord(FileBytes bytes, const Records& records, std::uint32_t place) {
  if (const auto remade = records.remade.find(place); remade != records.remade.end()) return remade->second;
  return bytes.subspan(std::size_t{place} + kRecordHeaderSize, SavedHeader(bytes, records, place).RecordLen);
}

// A used length that cannot be is taken for all of the space: bytes too many can be cut off by hand, bytes left out are
// gone.
RecordHeader Mended(RecordHeader header, std::uint32_t space) {
  const bool fits = header.RecordLen != 0 && header.RecordLen <= space;
  return {fits ? header.RecordLen : static_cast<std::uint16_t>(space), static_cast<std::uint16_t>(space),
          static_cast<std::uint16_t>(header.RecordAttr & kKnownAttributes), kMark, kMark};
}

bool IsEmptyHeader(FileBytes bytes, std::uint64_t place) {
  return BytesBehind(bytes, place) >= kRecordHeaderSize && Load<std::uint64_t>(bytes.data() + place) == 0;
}

// Unlike IsRecord it demands the marks, since it is asked where nothing leads to the place. Records of early versions
// have none: they count only where a neighbour leads to them.
bool IsPlainRecord(FileBytes bytes, std::uint64_t place) {
  const RecordHeader header = HeaderAt(bytes, place);
  return IsMarked(header) && (header.RecordAttr & ~kKnownAttributes) == 0 && header.RecordLen != 0 &&
         IsRecord(bytes, place);
}

std::string HeaderWords(FileBytes bytes, std::uint64_t place) {
  const std::uint64_t left = BytesBehind(bytes, place);
  if (left < kRecordHeaderSize) return Message("only %u bytes are left for it", static_cast<unsigned>(left));
  const RecordHeader header = HeaderAt(bytes, place);
  if (IsEmptyHeader(bytes, place)) return "its header is empty";
  if (header.AllocatedSpace < header.RecordLen)
    return Message("its header says %u bytes used of %u reserved", header.RecordLen, header.AllocatedSpace);
  if (RecordSpan(header) > left)
    return Message("its header says %u bytes reserved, %u are left", header.AllocatedSpace,
                   static_cast<unsigned>(left - kRecordHeaderSize));
  if (header.RecordLen == 0)
    return Message("its header says that none of %u reserved bytes is used", header.AllocatedSpace);
  if (!IsMarked(header)) return "its header lacks the marks of a finished record";
  if ((header.RecordAttr & ~kKnownAttributes) != 0)
    return Message("its header has unknown attributes (0x%04X)", header.RecordAttr);
  return Message("its header says %u bytes used of %u reserved, which leads to no other record", header.RecordLen,
                 header.AllocatedSpace);
}

std::uint64_t FindRecords(FileBytes bytes, std::uint64_t from, std::uint64_t to, std::uint64_t limit) {
  // At every byte, since nothing in a file is aligned. The marks go first: they throw out nearly every place.
  for (std::uint64_t place = from; place < to; ++place)
    if (IsMarked(HeaderAt(bytes, place)) && recordsFollow(bytes, place, limit)) return place;
  return to;
}

}  // namespace vorne
