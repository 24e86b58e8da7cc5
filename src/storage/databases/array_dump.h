// Inside the storage floor: arrays that a fatal error saves, and their return in the next run. A record of their
// temporary database holds either a count, which begins an array of that many items, or the image of a node followed by
// its text.
#pragma once

#include "runtime/vorneobjs.h"

namespace vorne {

/// True when the array was written as a whole.
bool SaveArray(const char* name, Obj_Node* array);
/// What was saved under that name, null when there is none; the copy is deleted.
Obj_Node* RestoreArray(const char* name);

}  // namespace vorne
