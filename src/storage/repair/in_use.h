// Whether another process has the databases of a directory open.
#pragma once

#include <string>

namespace vorne {

/// @param path of the directory that holds the databases
/// @returns true when a program has them open: it holds a lock on the catalogue, and one on its journal once it has
///     changed anything
bool IsInUse(const std::string& path);

}  // namespace vorne
