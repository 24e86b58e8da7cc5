#include "synchost/open_sql.h"

namespace synchost {

std::unique_ptr<Sql> OpenSql(const std::string& name) {
  const bool isPostgres = name.starts_with("postgresql://") || name.starts_with("postgres://");
  return isPostgres ? OpenPostgres(name) : OpenSqlite(name);
}

}  // namespace synchost
