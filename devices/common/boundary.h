// What surrounds every vendor call, whatever the device: faults on purpose, null pointers, stray exceptions.
#pragma once

#include <ctime>
#include <initializer_list>
#include <string_view>

#include "common/arguments.h"

namespace device {

/// The device's own work for one call; returns the vendor result.
using Work = int (*)(std::string_view function, Arguments& arguments, const std::tm& now);

/// Runs one call. `badArgument` is the result when a pointer is null.
int serve(std::string_view function, std::initializer_list<Native> places, int badArgument, Work work);

}  // namespace device
