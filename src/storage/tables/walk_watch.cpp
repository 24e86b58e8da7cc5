// The first steps of a walk are kept in a small hash table, since most walks are short; a walk that goes on gets a bit
// for every record of the table.
#include "storage/tables/walk_watch.h"

namespace vorne {

namespace {

// Clearing the bits of a million records takes as long as some tens of steps, so they have to be worth it.
constexpr UInt32 kFirstSteps = 1024, kSlots = 2 * kFirstSteps;
static_assert((kSlots & (kSlots - 1)) == 0);

}  // namespace

bool WalkWatch::noteFirst(UInt32 record) {
  first_.resize(kSlots);
  // The walk's number and the record: what other walks have left never equals it.
  const std::uint64_t wanted = std::uint64_t{walk_} << 32 | record;
  // Half of the slots stay free, so that every search ends. Those of earlier walks count as free too: a new walk clears
  // nothing.
  for (UInt32 slot = record * 0x9E3779B1u % kSlots;; slot = (slot + 1) % kSlots) {
    if (first_[slot] == wanted) return false;
    if (first_[slot] >> 32 == walk_) continue;
    first_[slot] = wanted;
    return true;
  }
}

void WalkWatch::keepBits() {
  bits_.assign(count_ / 64 + 1, 0);
  for (const std::uint64_t slot : first_)
    if (slot >> 32 == walk_) noteBit(static_cast<UInt32>(slot));
}

bool WalkWatch::isNewToo(DmOpenRef index, UInt32 count, int place, int direction, UInt32 record) {
  if (index != index_ || direction != direction_ || place != last_ + direction || count != count_) {
    if (index != index_) trusted_ = 0;
    index_ = index;
    count_ = count;
    direction_ = direction;
    steps_ = 0;
    ++walk_;
    bits_.clear();
  }
  last_ = place;
  if (trusted_ > 0) return --trusted_, true;
  if (!bits_.empty()) return noteBit(record);
  if (++steps_ == kFirstSteps) keepBits();
  return bits_.empty() ? noteFirst(record) : noteBit(record);
}

}  // namespace vorne
