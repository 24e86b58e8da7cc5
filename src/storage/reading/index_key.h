// Inside the storage floor: which fields of its table an index has for its key.
#pragma once

#include <vector>

#include "storage/format/description.h"
#include "storage/reading/database_reader.h"

namespace vorne {

/// The key numbered from 1. Files of other origin count from 0; where the key's length leaves it open, entries tell.
std::vector<IDX_Indexes> KeyFromOne(DatabaseReader& table, DatabaseReader& index, Fields fields,
                                    const IndexDescription& told);

}  // namespace vorne
