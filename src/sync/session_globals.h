// Inside the sync floor: what a session's parts share beside the public records.
#pragma once

#include "sync/vornesync.h"

namespace vorne {

inline constexpr int kLongestTimeout = 120;  // seconds

/// See vorne.h.
bool UseSynchronisation();

/// Closes and zeroes a socket variable; nothing for 0 or less.
void CloseSocket(int* socket);

/// The phase being timed begins now.
void StartSessionClock();
/// Gives `place` the time since then, "hh:mm:ss".
void StopSessionClock(Obj_Node*& place);
/// The text in a value that may be missing.
const char* TextIn(const Obj_Node* value);

/// Frees netglb with all it holds open; ng stays.
void FreeNetGlobals();

}  // namespace vorne
