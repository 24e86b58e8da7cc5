// Inside the storage floor: notices that a walk through a large index meets a record twice. Opening looks at a part of
// such an index only, and an entry that is written over with a distant one is seen by nobody who looks at neighbours.
#pragma once

#include <cstdint>
#include <vector>

#include "storage/vornerdd.h"

namespace vorne {

/// One area's walk, step by step in one direction through one index; what is no next step begins a new walk. The
/// records of a walk's first steps stand in a small hash table that is never cleared, so that a seek with a few steps
/// behind it costs next to nothing; a longer walk keeps a bit a record.
class WalkWatch {
 public:
  /// The walk has come to `place` of `index`, an index of a table of `count` records; `record` (below `count`) stands
  /// there. False when the walk has met that record before: either the index names it twice, or a change of its key has
  /// carried it ahead of the walk.
  bool isNew(DmOpenRef index, UInt32 count, int place, int direction, UInt32 record) {
    const bool goesOn = index == index_ && direction == direction_ && place == last_ + direction && count == count_;
    if (!goesOn || trusted_ > 0 || bits_.empty()) return isNewToo(index, count, place, direction, record);
    last_ = place;
    return noteBit(record);
  }
  /// The index proved sound: nothing more is asked for as many steps as it has entries, so that a walk that carries
  /// every record ahead does not have it looked through at each.
  void trust() { trusted_ = count_; }

 private:
  bool noteFirst(UInt32 record);
  bool noteBit(UInt32 record) {
    std::uint64_t& word = bits_[record / 64];
    const std::uint64_t bit = std::uint64_t{1} << record % 64;
    const bool isNew = (word & bit) == 0;
    word |= bit;
    return isNew;
  }
  bool isNewToo(DmOpenRef index, UInt32 count, int place, int direction, UInt32 record);
  void keepBits();

  DmOpenRef index_ = nullptr;
  UInt32 count_ = 0, steps_ = 0, trusted_ = 0;
  int direction_ = 0, last_ = 0;
  UInt32 walk_ = 0;                   // its number: what stands in `first_` for another one is a free slot
  std::vector<std::uint64_t> first_;  // a walk's number and, in the lower half, a record
  std::vector<std::uint64_t> bits_;   // empty for a walk that is still in `first_`
};

}  // namespace vorne
