// Databases as files of the data directory: the catalogue that lists them, finding, opening, packing and deleting them,
// and databases that are there for a while. Stands on the records. Failures are results of type Err or, where the files
// cannot go on, __RuntimeError.
//
// This file: what opening leaves to the other files here.
#pragma once

#include "storage/vornerdd.h"

namespace vorne {

/// Drops what is in memory of a database: handles, entries that wait, mappings.
void UnmapDatabase(DmOpenRef db);

}  // namespace vorne
