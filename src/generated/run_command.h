// Running one row of the command table.
#pragma once

#include <cstddef>

#include "generated/commands.h"
#include "runtime/cursor.h"
#include "runtime/vorneobjs.h"

namespace generated {

/// Index of the command whose upper-cased name equals `upperName`, or -1. Names are compared whole: many a command's
/// name begins with another's.
int FindCommand(const char* upperName);
/// Runs command `index` on the fields of a parameter string (an array; field 1 is the name) and writes its answer, not
/// yet encoded. Error 1 for a missing field, and all that the adapter raises.
void RunCommand(int index, Obj_Node* fields, vorne::ByteWriter& answer);

}  // namespace generated
