// The one place where the library ends the process.
#pragma once

namespace vorne {

/// Flushes standard output and ends the process with `status`. A journal with nothing under way goes first.
[[noreturn]] void EndProcess(int status);

/// True once an error ends the process: what fails in the steps before the end follows from it and need not be told.
extern bool isEnding;
/// That error's code, for who tells it; -1 before.
extern int endingCode;

/// Called by EndProcess when set, before anything that cannot be taken back. Fuzzers and tests that must go on leave it
/// by an exception.
extern void (*endProcessHook)(int status);

}  // namespace vorne
