// What the simulated devices mean by their results.
#pragma once

#include <string>
#include <string_view>

#include "generated/commands.h"

namespace tool {

/// The meaning of a negative result when the vendor library that gave it is one of the simulated devices; empty for any
/// other result and library, whose numbers are the vendor's own.
/// @param directory working directory of the call, absolute
/// @param result the answer's first field
std::string simulatedMeaning(const generated::Command& command, const std::string& directory, std::string_view result);

}  // namespace tool
