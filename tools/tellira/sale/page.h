// A sale as a self-contained HTML page: commands and answers beside the paper that came out.
#pragma once

#include <string>
#include <vector>

#include "sale/transcript.h"

namespace tool {

/// The page of a whole run.
/// @param title what was run
/// @param failure why it stopped; empty when it ran to its end
std::string salePage(const std::string& title, const std::vector<Step>& steps, const std::string& failure);

/// A text for HTML content and attribute values.
std::string htmlText(std::string_view text);

}  // namespace tool
