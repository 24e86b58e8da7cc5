// Inside the storage floor: the files of a database written anew, without what nobody needs.
#pragma once

#include <span>
#include <vector>

#include "storage/vornerdd.h"

namespace vorne {

/// Takes out every record that `which` says true of, all of them or none should the process die.
void RemoveRecords(DmOpenRef db, const std::vector<bool>& which);

struct RecordSpace {
  UInt32 index;
  std::uint16_t space;  ///< bytes that the record gets at least
};
/// Gives records of any length space to grow in by one pass, where growing each would move all behind it. `wider` is in
/// the order of the records. False when there is no room for that, or it found damage: all is as it was.
bool WidenRecords(DmOpenRef db, std::span<const RecordSpace> wider);

}  // namespace vorne
