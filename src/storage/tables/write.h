// Inside the storage floor: from the field buffer to the table.
#pragma once

#include "storage/tables/areas.h"

namespace vorne {

/// Writes the area's buffer when it has unsaved changes.
void WritePending(int area);

}  // namespace vorne
