// What stands in the place of sql_query.cpp in a build without SQLite.
#include "db/sql_query.h"
#include "edge/console.h"

namespace tool {

void runSqlQuery(const std::string&, const std::string&, SqlFormat) {
  throw Failure(
      kUsage,
      "this build of tellira has no SQL: it was made without SQLite (libsqlite3-dev), which 32-bit builds never "
      "have.\n  next: use a 64-bit build made with libsqlite3-dev, or `tellira db export` and `seek`.");
}

}  // namespace tool
