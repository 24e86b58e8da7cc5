// The command dispatcher.
#pragma once

#include "runtime/vorneobjs.h"

/// Serves one call: `cmd` 999 and 997 answer version numbers; any other number runs the command named in the first
/// field of `params` (an encoded text) and assigns its encoded answer to `output` (a variable). `capacity` is the
/// host's buffer size. Returns 1. An unknown command stops the process with status 1.
Obj_Node* TELLIRA(Obj_Node* cmd, Obj_Node* params, Obj_Node* output, Obj_Node* capacity);
