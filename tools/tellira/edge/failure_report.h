// How a failure is told: in words on standard error, and as JSON where JSON was asked for.
#pragma once

#include <string_view>

#include "edge/console.h"
#include "edge/json_text.h"

namespace tool {

/// The parts of a failure's text: {"what", "cause", "next"}, null for one that it does not have. The text has the form
/// "WHAT: CAUSE", then lines that belong to the cause, then "  next: NEXT".
Json failureJson(std::string_view text);

/// What running out of memory is told as.
Failure memoryFailure();

/// Tells a failure.
/// @param json print {"error": {...}} too, unless an answer has begun on standard output
/// @returns the exit status
int reportFailure(const Failure& failure, bool json);

}  // namespace tool
