// Inside the storage floor: the files of a database written anew, without what nobody needs.
#pragma once

#include <vector>

#include "storage/vornerdd.h"

namespace vorne {

/// Takes out every record that `which` says true of, all of them or none should the process die.
void RemoveRecords(DmOpenRef db, const std::vector<bool>& which);

}  // namespace vorne
