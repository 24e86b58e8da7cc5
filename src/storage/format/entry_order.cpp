#include "storage/format/entry_order.h"

#include <algorithm>

#include "storage/databases/databases.h"
#include "storage/records/records.h"

namespace vorne {

namespace {

// The first index from `from` to `to` for which `isBehind` holds; it holds for none or for all that follow.
template <class IsBehind>
UInt32 Halve(UInt32 from, UInt32 to, IsBehind isBehind) {
  while (from < to) {
    const UInt32 middle = from + (to - from) / 2;
    if (isBehind(middle))
      to = middle;
    else
      from = middle + 1;
  }
  return from;
}

// The same, by steps that double, from the front or the back.
template <class IsBehind>
UInt32 LeapForward(UInt32 from, UInt32 to, IsBehind isBehind) {
  for (UInt32 step = 1; step <= to - from; step *= 2) {
    if (isBehind(from + step - 1)) return Halve(from, from + step - 1, isBehind);
    from += step;
  }
  return Halve(from, to, isBehind);
}

template <class IsBehind>
UInt32 LeapBack(UInt32 from, UInt32 to, IsBehind isBehind) {
  UInt32 known = to;
  for (UInt32 step = 1; step <= known - from; step *= 2) {
    if (!isBehind(known - step)) return Halve(known - step + 1, known, isBehind);
    known -= step;
  }
  return Halve(from, known, isBehind);
}

// How many bytes all keys begin with in common.
std::size_t CommonStart(const Entries& entries) {
  std::size_t common = entries.keyLength();
  const char* first = entries.key(0);
  for (UInt32 i = 1; i < entries.count && common > 0; ++i) {
    const char* key = entries.key(i);
    if (std::memcmp(first, key, common) == 0) continue;
    common = static_cast<std::size_t>(std::mismatch(first, first + common, key).first - first);
  }
  return common;
}

}  // namespace

Entries EntriesOf(const OpenStruct& index) {
  if (IsVariable(index) || index.Head.NumberOfRecords == 0) return {};
  const UInt32 begin = RecordsBegin(index.Head), stride = RecordStride(index);
  const std::uint64_t end = begin + static_cast<std::uint64_t>(index.Head.NumberOfRecords) * stride;
  if (stride <= kRecordHeaderSize + sizeof(std::int32_t) || end > static_cast<UInt32>(index.hFile->szmap)) return {};
  return {index.hFile->mapmem + begin + kRecordHeaderSize, stride, stride - kRecordHeaderSize,
          index.Head.NumberOfRecords};
}

std::vector<std::uint32_t> KeyOrder(const Entries& entries) {
  // What decides nearly always stands beside the number, so that sorting rarely looks at the keys.
  struct Place {
    std::uint64_t start;
    std::uint32_t number;
  };
  std::vector<std::uint32_t> order(entries.count);
  if (entries.count == 0) return order;
  const std::size_t common = CommonStart(entries), left = entries.keyLength() - common;
  const std::size_t taken = std::min<std::size_t>(left, sizeof(std::uint64_t));
  std::vector<Place> places(entries.count);
  for (UInt32 i = 0; i < entries.count; ++i) {
    std::uint64_t start = 0;
    std::memcpy(&start, entries.key(i) + common, taken);
    places[i] = {__builtin_bswap64(start), i};
  }
  const std::size_t rest = left - taken, restAt = common + taken;
  std::sort(places.begin(), places.end(), [&](const Place& a, const Place& b) {
    if (a.start != b.start) return a.start < b.start;
    const int byRest =
        rest == 0 ? 0 : std::memcmp(entries.key(a.number) + restAt, entries.key(b.number) + restAt, rest);
    return byRest != 0 ? byRest < 0 : a.number < b.number;
  });
  std::transform(places.begin(), places.end(), order.begin(), [](const Place& place) { return place.number; });
  return order;
}

bool AreInOrder(const Entries& entries) {
  for (UInt32 i = 1; i < entries.count; ++i)
    if (std::memcmp(entries.key(i - 1), entries.key(i), entries.keyLength()) > 0) return false;
  return true;
}

UInt32 FirstGreater(const Entries& entries, const SoughtKey& key, UInt32 from, UInt32 to) {
  return LeapForward(from, to, [&](UInt32 index) { return key.compare(entries.key(index)) < 0; });
}

UInt32 FirstGreaterFromBack(const Entries& entries, const SoughtKey& key, UInt32 from, UInt32 to) {
  return LeapBack(from, to, [&](UInt32 index) { return key.compare(entries.key(index)) < 0; });
}

UInt32 FirstNotSmallerFromBack(const Entries& entries, const SoughtKey& key, UInt32 from, UInt32 to) {
  return LeapBack(from, to, [&](UInt32 index) { return key.compare(entries.key(index)) <= 0; });
}

}  // namespace vorne
