// "Did you mean": names near to a word that is none of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// Up to five of the names that `name` may have been meant to be, nearest first, compared without regard to case.
std::vector<std::string_view> nearestNames(std::string_view name, const std::vector<std::string_view>& names);

/// The line of an error text that lists them, with a line break before it; empty without any.
std::string nearText(const std::vector<std::string_view>& nearest);

}  // namespace tool
