// SQLite's calls. In the loadable extension they go through the host's table of functions, so that the host's own
// SQLite is used; in a program that links SQLite they are direct (SQLITE_CORE).
#pragma once

#include <sqlite3ext.h>

SQLITE_EXTENSION_INIT3

static_assert(SQLITE_VERSION_NUMBER >= 3038000, "sqlite3_vtab_collation tells of a constraint from 3.38 on");
