// The few screen procedures: text on standard output, answers from standard input.
#pragma once

#include "runtime/vorneobjs.h"

/// Shows `title` (optional), `message` and "<Enter>", waits for one character (end of input counts), closes the runtime
/// and ends the process with status 1: the stop that a script makes when it cannot go on. Error 0 for a message that is
/// not a text.
[[noreturn]] void __MsgStop(Obj_Node* message, Obj_Node* title = nullptr);

/// Shows `title` (optional) and `message`, reads one character: true for S, s, Y or y, false for anything else and for
/// the end of input. Error 0 for a message that is not a text.
Obj_Node* __MsgYesNo(Obj_Node* message, Obj_Node* title = nullptr);

/// Asks with message 138 under title 139 whether to synchronise now, and does it on yes; the answer.
Obj_Node* ErrSync();
/// ErrSync, then the end of the process with status 0.
[[noreturn]] void rstCall();
