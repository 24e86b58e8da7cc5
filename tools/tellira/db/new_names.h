// Names for new databases.
#pragma once

#include <string>

#include "db/dictionary.h"

namespace tool {

/// Refuses a name that a database has already, and one whose files would be another database's as well: beside a data
/// file X may stand the places of its records, X_OS.
/// @throws Failure (kUsage), which names the other database
void refuseTaken(const Dictionary& dictionary, const std::string& name);

}  // namespace tool
