// The function that SQLite calls when it loads the extension; its name comes from the file's.
#include "vornetab.h"

extern "C" __attribute__((visibility("default"))) int sqlite3_vornetab_init(sqlite3* connection, char** message,
                                                                            const sqlite3_api_routines* api) {
  SQLITE_EXTENSION_INIT2(api);
  if (sqlite3_libversion_number() < 3038000) {
    *message = sqlite3_mprintf("vornetab needs SQLite 3.38 or a later one; this is %s", sqlite3_libversion());
    return SQLITE_ERROR;
  }
  return vornetab::registerModule(connection);
}
