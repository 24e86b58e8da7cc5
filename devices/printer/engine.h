// Runs one vendor function on the printer whose files carry a prefix.
#pragma once

#include <ctime>
#include <string_view>

#include "common/arguments.h"

namespace printer {

/// Locks, reads the state, runs the handler, prints, stores. Whatever a handler refuses leaves the printer as it was,
/// apart from the memory of the refusal itself.
int run(std::string_view prefix, std::string_view function, device::Arguments& arguments, const std::tm& now);

}  // namespace printer
