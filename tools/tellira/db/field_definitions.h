// Fields as the command line describes them, NAME:TYPE:LEN[:DEC], and the names that a new table can have.
#pragma once

#include <string>
#include <vector>

#include "storage/format/description.h"

namespace tool {

/// @throws Failure (kUsage): what is wrong, and what to do
[[noreturn]] void refuse(const std::string& what, const std::string& next);

/// The name of a table of these fields in capital letters.
/// @throws Failure (kUsage) when no table can be made with that name
std::string checkedTableName(const std::string& name, const std::vector<ControlFieldTBL>& fields);

/// The fields of a table without the deletion mark.
/// @throws Failure (kUsage) for what cannot be a field, or fields that are too many or too long together
std::vector<ControlFieldTBL> parsedFields(const std::vector<std::string>& texts);

}  // namespace tool
