// Where the host's table of functions is kept; entry.cpp fills it in.
#include <sqlite3ext.h>

SQLITE_EXTENSION_INIT1
