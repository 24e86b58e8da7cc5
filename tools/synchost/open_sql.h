// Which database a store's name means.
#pragma once

#include "synchost/sql.h"

namespace synchost {

/// @param name a file of SQLite, or an address as in postgresql://user@host/database
std::unique_ptr<Sql> OpenSql(const std::string& name);

}  // namespace synchost
