// Everything that a program derived from a script calls.
#pragma once

#include "adapters/vorneadapters.h"
#include "builtins/vornefun.h"
#include "generated/adapters.h"
#include "log/message_log.h"
#include "runtime/vorneobjs.h"
#include "screen/vornewin.h"
#include "storage/vornerdd.h"
