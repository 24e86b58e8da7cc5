// Finishing what a process that died left half-way.
#pragma once

#include <string>

namespace vorne {

/// Finishes or undoes the interrupted changes of the directory at `path`.
/// @returns false when it cannot be done
bool FinishInterruptedChanges(const std::string& path);

}  // namespace vorne
