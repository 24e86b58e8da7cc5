// Building JSON for standard output.
#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace tool {

/// Objects keep the order in which their members are set.
using Json = nlohmann::ordered_json;

/// One JSON text on standard output: an object in one line, an array with one member a line. Texts in it must be
/// masked already.
void printJson(const Json& json);

}  // namespace tool
