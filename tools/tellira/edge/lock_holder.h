// Who it is that one waits for.
#pragma once

#include <string>

namespace tool {

/// The process that holds the lock (flock) of a file, as in "process 1234 (tellira)"; `unknown` when the system does
/// not tell.
std::string lockHolder(const std::string& path, const char* unknown);

}  // namespace tool
