// Inside the storage floor: what a data file's header says, held against the rest when the file is opened. A field that
// everything else speaks against is put right, told in the log.
#pragma once

#include "storage/vornerdd.h"

namespace vorne {

/// Puts right a kind that there is not: the catalogue's type code and the presence of an offsets file agree on another.
void VerifyKind(DmOpenRef db);
/// Puts right, once the files are mapped, one of: the size of the application information, the used size, and the count
/// of equal records. The marked records, from the first place that the offsets file tells to the last one, are what
/// they are held against; without records the description.
void VerifySizes(DmOpenRef db);
/// True when the header can be that of a data file: a 'V' file's count may be wrong, since it is made anew.
bool IsSoundHeader(const mymap& map);

}  // namespace vorne
