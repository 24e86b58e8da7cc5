// Everything that a program derived from a script calls.
#pragma once

#include "runtime/vorneobjs.h"
#include "builtins/vornefun.h"
#include "screen/vornewin.h"
