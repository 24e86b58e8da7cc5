// The call trace that a fatal error reports.
#pragma once

namespace vorne {

/// Forgets the records of ended contexts.
void TrimTrace();
/// Forgets everything.
void FreeTrace();

}  // namespace vorne
