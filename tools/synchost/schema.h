// The tables of the database behind the store.
#pragma once

#include <string>

#include "synchost/sql.h"

namespace synchost {

/// A store of this version is used as it is: whoever adds to the schema takes the next one.
inline constexpr std::int64_t kSchemaVersion = 2;

/// Statements that make version 2 of version 1.
extern const char kSchemaFromOne[];

/// Statements that make what is not there.
std::string SchemaFor(const Dialect& dialect);

}  // namespace synchost
