// The one place where the library ends the process.
#pragma once

namespace vorne {

/// Flushes standard output and ends the process with `status`.
[[noreturn]] void EndProcess(int status);

/// Called first by EndProcess when set. Fuzzers and tests that must go on leave it by an exception.
extern void (*endProcessHook)(int status);

}  // namespace vorne
