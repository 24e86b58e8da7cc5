// Runs one vendor function on the card terminal.
#pragma once

#include <ctime>
#include <string_view>

#include "common/arguments.h"

namespace tef {

/// Locks, reads the state, runs the handler, stores the state when it changed.
int run(std::string_view function, device::Arguments& arguments, const std::tm& now);

}  // namespace tef
