// Inside the storage floor: what dead processes left half-done.
#pragma once

#include <string>
#include <vector>

namespace vorne {

/// Finishes or undoes what dead processes left in the data directory (wcDir). Error 5 when a file cannot be opened.
void RecoverInterruptedChanges();

/// The names of the files in `directory` (the one that holds the databases) in which a change was interrupted. Changes
/// nothing.
std::vector<std::string> InterruptedChanges(const char* directory);

}  // namespace vorne
