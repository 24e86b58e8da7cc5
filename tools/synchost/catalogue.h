// The three tables that tell a device of all others. They are made of the host's tables as they are sent.
#pragma once

#include <array>
#include <vector>

#include "synchost/store.h"

namespace synchost {

inline constexpr std::size_t kCatalogueTables = 3;

/// VRN_TBL, VRN_COLS, VRN_IND, in the order in which they are sent. Their numbers are none that a table has.
const std::array<Table, kCatalogueTables>& CatalogueTables();

/// The records of the one of that place, which name all the tables.
std::vector<SentContent> CatalogueRecords(std::size_t place, const std::vector<Table>& tables);

}  // namespace synchost
