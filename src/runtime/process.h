// The one place where the library ends the process.
#pragma once

namespace vorne {

/// Flushes standard output and ends the process with `status`.
[[noreturn]] void EndProcess(int status);

}  // namespace vorne
