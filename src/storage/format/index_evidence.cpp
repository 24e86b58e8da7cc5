// Some programs number an index's key fields from 0 in its block, most from 1, and the block does not tell which: the
// entries do, by which of the two keys they are made of.
#include "storage/format/index_evidence.h"

#include <algorithm>

#include "storage/disk_layout.h"

namespace vorne {

namespace {

// Entries looked at: enough to decide for a sound index; for a damaged one, where the majority decides.
constexpr std::uint32_t kFew = 16, kMany = 4096;

}  // namespace

std::uint32_t EntriesThatFit(const IndexEvidence& index, KeyFields key, std::uint32_t most) {
  EntryMaker maker(index.fields, key);
  if (maker.size() == 0) return 0;
  std::vector<char> expected(maker.size());
  std::uint32_t fitting = 0;
  const std::uint32_t looks = std::min(most, index.count);
  for (std::uint32_t i = 0; i < looks; ++i) {
    // From all over the index: a damaged stretch must not speak for the rest.
    const std::span<const char> entry = index.entry(static_cast<std::uint32_t>(std::uint64_t{i} * index.count / looks));
    if (entry.size() != expected.size()) continue;
    const auto position = Load<std::uint32_t>(entry.data());
    const std::span<const char> record = index.record(position);
    if (record.empty()) continue;
    maker.make(static_cast<std::int32_t>(position), record, expected.data());
    fitting += std::equal(entry.begin(), entry.end(), expected.begin());
  }
  return fitting;
}

// A few entries decide it when all of them are of one of the keys and not of the other, as in every sound index whose
// fields differ.
bool CountsFromZero(const IndexEvidence& index, KeyFields key) {
  const std::vector<IDX_Indexes> other = NumberedFromOne(key);
  const std::int32_t room = KeyRoom(index.fields, key), otherRoom = KeyRoom(index.fields, other);
  if (room == 0 || otherRoom == 0) return otherRoom != 0;
  for (const std::uint32_t most : {kFew, kMany}) {
    const std::uint32_t fromOne = EntriesThatFit(index, key, most), fromZero = EntriesThatFit(index, other, most);
    const std::uint32_t looks = std::min(most, index.count);
    const bool isClear = (fromOne == looks) != (fromZero == looks);
    if (fromOne != fromZero && (isClear || most == kMany)) return fromZero > fromOne;
  }
  return room != index.keyLength && otherRoom == index.keyLength;
}

}  // namespace vorne
