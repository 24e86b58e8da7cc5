// Asking the tables of a directory with SQL.
#pragma once

#include <string>

#include "db/sql_output.h"

namespace tool {

/// Runs one statement that only reads, all tables of the directory being there by name, and prints its answer.
/// @param directory the working directory that holds "DB"
/// @throws Failure (kUsage) for a statement that cannot be run and in a build without SQLite, (kNo) when a table
///     cannot be read
void runSqlQuery(const std::string& directory, const std::string& statement, SqlFormat format);

}  // namespace tool
