// The entries of an index where they lie, and their order. An entry is the
// record's position (4 bytes) and its key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "storage/disk_layout.h"

namespace vorne {

/// Entries of one size, `stride` bytes from one to the next. Those of a file are valid until something is put in or
/// taken out.
struct Entries {
  char* first = nullptr;
  std::size_t stride = 0;
  std::size_t size = 0;  ///< of an entry
  std::uint32_t count = 0;

  char* at(std::size_t index) const { return first + index * stride; }
  std::int32_t record(std::size_t index) const { return Load<std::int32_t>(at(index)); }
  const char* key(std::size_t index) const { return at(index) + sizeof(std::int32_t); }
  std::size_t keyLength() const { return size - sizeof(std::int32_t); }
};

/// Up to so many entries, who opens an index looks whether each record has one; in a larger one who walks through it
/// does.
inline constexpr std::uint32_t kMostCounted = 65536;
/// True when two of the entries name one record, or one of them a record that a table of `records` does not have.
bool NamesARecordTwice(const Entries& entries, std::uint32_t records);

/// The numbers of the entries in the order of their keys; those with equal keys stay as they stand.
std::vector<std::uint32_t> KeyOrder(const Entries& entries);
/// True when no key is smaller than the one before.
bool AreInOrder(const Entries& entries);

/// A key, or its beginning, that entries are held against. Keys differ in any of their words, so that they are compared
/// by words; the last one takes in bytes of the one before.
class SoughtKey {
 public:
  SoughtKey(const char* key, std::size_t length) : key_(key), length_(length) {}

  /// Below 0, 0, above 0 as the sought key is smaller, the same or greater.
  int compare(const char* key) const {
    if (length_ < sizeof(std::uint64_t)) return std::memcmp(key_, key, length_);
    const std::size_t last = length_ - sizeof(std::uint64_t);
    // Equal words are passed over as they lie: what stands in order of one another begins alike.
    for (std::size_t at = 0; at < last; at += sizeof(std::uint64_t))
      if (Load<std::uint64_t>(key_ + at) != Load<std::uint64_t>(key + at)) return compareWord(key, at);
    return compareWord(key, last);
  }

 private:
  // Eight bytes as a number that is in the same order.
  static std::uint64_t Word(const char* at) { return __builtin_bswap64(Load<std::uint64_t>(at)); }
  int compareWord(const char* key, std::size_t at) const {
    const std::uint64_t sought = Word(key_ + at), word = Word(key + at);
    return (sought > word) - (sought < word);
  }

  const char* key_;
  std::size_t length_;
};

/// False when the key at `place` is greater than the one behind it.
inline bool IsInOrder(const Entries& entries, std::uint32_t place) {
  if (place >= entries.count || place + 1 == entries.count) return true;
  const char* key = entries.key(place);
  return SoughtKey(key, entries.keyLength()).compare(key + entries.stride) <= 0;
}
/// For a search that ended between `place` - 1 and `place`, whose keys it has seen: false when the entries next to
/// them do not go on in order. An entry written over with a distant one hides its record's key, and leads searches
/// astray that come by; since all others are in order, each of these ends right beside it.
inline bool AreInOrderBeside(const Entries& entries, std::uint32_t place) {
  return (place < 2 || IsInOrder(entries, place - 2)) && IsInOrder(entries, place);
}

/// So many entries beside the place where a search ended are looked at, as far as they have one key.
inline constexpr std::uint32_t kMostBeside = 64;
/// False when one of the entries behind `place` in `direction` that have its key names its record too.
bool IsNamedOnceInRun(const Entries& entries, std::uint32_t place, int direction);
/// For the two entries between which a search ended, each in its direction away from there: false when the next entry
/// does not go on in order, or the record is named again. An entry written over with another one of its own or the
/// neighbouring key stands in order, and hides its record right there.
inline bool IsSoundBeside(const Entries& entries, std::uint32_t place, int direction) {
  // Past either end the place is none of the entries': the one before the first wraps around.
  const std::uint32_t next = place + static_cast<std::uint32_t>(direction);
  if (place >= entries.count || next >= entries.count) return true;
  if (entries.record(place) == entries.record(next)) return false;
  const int order = SoughtKey(entries.key(place), entries.keyLength()).compare(entries.key(next));
  return order == 0 ? IsNamedOnceInRun(entries, place, direction) : (order < 0) == (direction > 0);
}

/// False when one of the next few entries behind `place` in `direction` names its record too, whatever their keys.
bool IsNamedOnceNear(const Entries& entries, std::uint32_t place, int direction);
/// For a walk in `direction` that comes to `place`: false when the next entry does not go on in order or names the same
/// record, or one of the two is an entry of their key that was written over with another one. Entries of one key mostly
/// stand as their records came; what was written over breaks that there, so that a walk looks for doubles only where it
/// is broken.
inline bool IsSoundAhead(const Entries& entries, std::uint32_t place, int direction) {
  const std::uint32_t next = place + static_cast<std::uint32_t>(direction);
  if (place >= entries.count || next >= entries.count) return true;
  const std::int32_t record = entries.record(place), other = entries.record(next);
  if (record == other) return false;
  const int order = SoughtKey(entries.key(place), entries.keyLength()).compare(entries.key(next));
  if (order != 0) return (order < 0) == (direction > 0);
  if ((record < other) == (direction > 0)) return true;
  return IsNamedOnceNear(entries, place, direction) && IsNamedOnceNear(entries, next, -direction);
}

/// The first of `from` to `to` whose key is greater than the sought one (`to` when there is none); all of them stand in
/// order. Quick when it is near `from`.
std::uint32_t FirstGreater(const Entries& entries, const SoughtKey& key, std::uint32_t from, std::uint32_t to);
/// The same, quick when it is near `to`.
std::uint32_t FirstGreaterFromBack(const Entries& entries, const SoughtKey& key, std::uint32_t from, std::uint32_t to);
/// The first of those from `from` to `to` that is not smaller, quick when it is near `to`.
std::uint32_t FirstNotSmallerFromBack(const Entries& entries, const SoughtKey& key, std::uint32_t from,
                                      std::uint32_t to);

}  // namespace vorne
