// Who it is that one waits for.
#pragma once

#include <string>

namespace tool {

/// The process that holds the lock (flock) of an open file, as in "process 1234 (tellira)"; "another process" when the
/// system does not tell.
std::string lockHolder(int descriptor);

}  // namespace tool
