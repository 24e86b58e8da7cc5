// What stands for PostgreSQL where its client library was not there to build with.
#include "synchost/sql.h"

namespace synchost {

std::unique_ptr<Sql> OpenPostgres(const std::string&) {
  throw StoreFailure("this program was built without PostgreSQL's client library (libpq-dev)");
}

}  // namespace synchost
