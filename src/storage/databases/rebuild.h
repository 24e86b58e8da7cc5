// Inside the storage floor: what is looked at, and put right, when a database is opened.
#pragma once

#include "storage/vornerdd.h"

namespace vorne {

/// True when the header can be that of a data file: a 'V' file's count may be wrong, since it is made anew.
bool IsSoundHeader(const mymap& map);
/// Puts right a used size that ends before the last record, when the count, the places in the offsets file and the
/// marks agree that all records are there; told in the log.
void VerifyUsedSize(DmOpenRef db);
/// Puts right what a killed process left at the end of a database of equal records: a record begun and not released is
/// taken out, one that was written but not counted counts.
void VerifyEqualRecords(DmOpenRef db);

}  // namespace vorne
