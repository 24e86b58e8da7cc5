// Everything that a program derived from a script calls.
#pragma once

#include "adapters/vorneadapters.h"
#include "bridge/dispatcher.h"
#include "bridge/host_entry.h"
#include "builtins/vornefun.h"
#include "generated/adapters.h"
#include "log/message_log.h"
#include "runtime/vorneobjs.h"
#include "screen/vornewin.h"
#include "storage/vornerdd.h"
#include "sync/vornesync.h"

namespace vorne {

/// Lets a fatal error save the registered arrays in databases.
bool UseStorage();
/// Every program that includes this header has it done.
inline const bool kStorageInUse = UseStorage();
/// Lets ErrSync run a session; the same.
bool UseSynchronisation();
inline const bool kSynchronisationInUse = UseSynchronisation();

}  // namespace vorne
