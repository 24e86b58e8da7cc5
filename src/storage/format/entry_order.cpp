// Searches come in two kinds: by halves, where nothing is known of the place, and by steps that double, where it is
// likely to be near one end, as among keys that rise.
#include "storage/format/entry_order.h"

#include <algorithm>

namespace vorne {

namespace {

// The first index from `from` to `to` for which `isBehind` holds; it holds for none or for all that follow.
template <class IsBehind>
std::uint32_t halve(std::uint32_t from, std::uint32_t to, IsBehind isBehind) {
  while (from < to) {
    const std::uint32_t middle = from + (to - from) / 2;
    if (isBehind(middle))
      to = middle;
    else
      from = middle + 1;
  }
  return from;
}

// The same, by steps that double, from the front or the back.
template <class IsBehind>
std::uint32_t leapForward(std::uint32_t from, std::uint32_t to, IsBehind isBehind) {
  for (std::uint32_t step = 1; step <= to - from; step *= 2) {
    if (isBehind(from + step - 1)) return halve(from, from + step - 1, isBehind);
    from += step;
  }
  return halve(from, to, isBehind);
}

template <class IsBehind>
std::uint32_t leapBack(std::uint32_t from, std::uint32_t to, IsBehind isBehind) {
  // All from here on are behind; what is left to look at lies before it.
  std::uint32_t known = to;
  for (std::uint32_t step = 1; step <= known - from; step *= 2) {
    if (!isBehind(known - step)) return halve(known - step + 1, known, isBehind);
    known -= step;
  }
  return halve(from, known, isBehind);
}

// How many bytes all keys begin with in common.
std::size_t commonStart(const Entries& entries) {
  std::size_t common = entries.keyLength();
  const char* first = entries.key(0);
  for (std::uint32_t i = 1; i < entries.count && common > 0; ++i) {
    const char* key = entries.key(i);
    if (std::memcmp(first, key, common) == 0) continue;
    common = static_cast<std::size_t>(std::mismatch(first, first + common, key).first - first);
  }
  return common;
}

}  // namespace

bool NamesARecordTwice(const Entries& entries, std::uint32_t records) {
  std::vector<std::uint64_t> bits;  // of the records; for a few entries of a large table they are sorted instead
  std::vector<std::uint32_t> few;
  // Bits for a million records take longer to clear than some entries to sort.
  const bool areFew = entries.count < records / 64;
  areFew ? few.reserve(entries.count) : bits.resize(records / 64 + 1);
  for (std::uint32_t place = 0; place < entries.count; ++place) {
    const auto record = static_cast<std::uint32_t>(entries.record(place));
    if (record >= records) return true;
    if (areFew) {
      few.push_back(record);
      continue;
    }
    const std::uint64_t bit = std::uint64_t{1} << record % 64;
    if ((bits[record / 64] & bit) != 0) return true;
    bits[record / 64] |= bit;
  }
  std::sort(few.begin(), few.end());
  return std::adjacent_find(few.begin(), few.end()) != few.end();
}

std::vector<std::uint32_t> KeyOrder(const Entries& entries) {
  // What decides nearly always stands beside the number, so that sorting rarely looks at the keys.
  struct Place {
    std::uint64_t start;
    std::uint32_t number;
  };
  std::vector<std::uint32_t> order(entries.count);
  if (entries.count == 0) return order;
  const std::size_t common = commonStart(entries), left = entries.keyLength() - common;
  const std::size_t taken = std::min<std::size_t>(left, sizeof(std::uint64_t));
  std::vector<Place> places(entries.count);
  for (std::uint32_t i = 0; i < entries.count; ++i) {
    std::uint64_t start = 0;
    // Keys often begin alike, with a shop's number or a year: behind that, eight bytes tell most of them apart.
    std::memcpy(&start, entries.key(i) + common, taken);
    // Bytes turned, so that comparing the numbers compares the keys' first bytes first.
    places[i] = {__builtin_bswap64(start), i};
  }
  const std::size_t rest = left - taken, restAt = common + taken;
  std::sort(places.begin(), places.end(), [&](const Place& a, const Place& b) {
    if (a.start != b.start) return a.start < b.start;
    const int byRest =
        rest == 0 ? 0 : std::memcmp(entries.key(a.number) + restAt, entries.key(b.number) + restAt, rest);
    // The sort promises no order among equal keys; files keep that in which the records came.
    return byRest != 0 ? byRest < 0 : a.number < b.number;
  });
  std::transform(places.begin(), places.end(), order.begin(), [](const Place& place) { return place.number; });
  return order;
}

bool AreInOrder(const Entries& entries) {
  for (std::uint32_t i = 1; i < entries.count; ++i)
    if (std::memcmp(entries.key(i - 1), entries.key(i), entries.keyLength()) > 0) return false;
  return true;
}

bool IsNamedOnceInRun(const Entries& entries, std::uint32_t place, int direction) {
  const SoughtKey key(entries.key(place), entries.keyLength());
  const std::int32_t record = entries.record(place);
  for (std::uint32_t looked = 0; looked < kMostBeside; ++looked) {
    place += static_cast<std::uint32_t>(direction);
    if (place >= entries.count || key.compare(entries.key(place)) != 0) return true;
    if (entries.record(place) == record) return false;
  }
  return true;
}

bool IsNamedOnceNear(const Entries& entries, std::uint32_t place, int direction) {
  // A walk through many of one key that stand as they were changed, not as they came, asks at every other step.
  constexpr std::uint32_t kMostNear = 16;
  const std::int32_t record = entries.record(place);
  for (std::uint32_t looked = 0; looked < kMostNear; ++looked) {
    place += static_cast<std::uint32_t>(direction);
    if (place >= entries.count) return true;
    if (entries.record(place) == record) return false;
  }
  return true;
}

std::uint32_t FirstGreater(const Entries& entries, const SoughtKey& key, std::uint32_t from, std::uint32_t to) {
  return leapForward(from, to, [&](std::uint32_t index) { return key.compare(entries.key(index)) < 0; });
}

std::uint32_t FirstGreaterFromBack(const Entries& entries, const SoughtKey& key, std::uint32_t from, std::uint32_t to) {
  return leapBack(from, to, [&](std::uint32_t index) { return key.compare(entries.key(index)) < 0; });
}

std::uint32_t FirstNotSmallerFromBack(const Entries& entries, const SoughtKey& key, std::uint32_t from,
                                      std::uint32_t to) {
  return leapBack(from, to, [&](std::uint32_t index) { return key.compare(entries.key(index)) <= 0; });
}

}  // namespace vorne
