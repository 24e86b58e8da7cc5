// Asking before something that cannot be taken back.
#pragma once

#include <string>

namespace tool {

/// True when the user agrees: by `yes` (the option --yes), or by an answer on the terminal.
/// @param what is about to happen, as in "repair the databases of /srv/pos"
/// @throws Failure (kUsage) when there is neither
bool confirmed(const std::string& what, bool yes);

}  // namespace tool
