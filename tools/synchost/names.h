// Names on devices, where tables, memo texts and indexes are files of one directory, beside the device's own.
#pragma once

#include <string>
#include <vector>

#include "synchost/table.h"

namespace synchost {

/// @throws tool::Failure (kUsage) when devices could not have the table, or its indexes, beside the others
void CheckNames(const Table& table, const std::vector<Table>& others);
/// @throws tool::Failure (kUsage) for what devices cannot, or must not, delete as a table
void CheckDeletion(const std::string& name, const std::vector<Table>& tables);
/// @throws tool::Failure (kUsage) for what a task cannot carry as the name of a component
void CheckComponent(const std::string& name);

}  // namespace synchost
