// The clock on the wall.
#pragma once

#include <ctime>

namespace vorne {

/// The local date and time of this moment, in whole seconds.
std::tm LocalNow();

}  // namespace vorne
