// Inside the sync floor: what a session's parts share beside the public records.
#pragma once

#include "sync/vornesync.h"

namespace vorne {

/// Closes and zeroes a socket variable; nothing for 0 or less.
void CloseSocket(int* socket);

/// The phase being timed begins now.
void StartSessionClock();
/// Seconds since then, as a value.
Obj_Node* SessionSeconds();

/// Frees netglb with all it holds open; ng stays.
void FreeNetGlobals();

}  // namespace vorne
