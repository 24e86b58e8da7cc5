// Inside the storage floor: what is looked at, and put right, when a database is opened.
#pragma once

#include "storage/vornerdd.h"

namespace vorne {

/// Puts right what a killed process left at the end of a database of equal records: a record begun and not released is
/// taken out, one that was written but not counted counts.
void VerifyEqualRecords(DmOpenRef db);
/// Holds every place that the offsets file tells against the chain of the records: a walk through all of them, for when
/// something else shows that a place may be wrong. True when some were, which are right then.
bool VerifyPlaces(DmOpenRef db);

}  // namespace vorne
