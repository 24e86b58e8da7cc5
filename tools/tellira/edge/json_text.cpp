#include "edge/json_text.h"

#include "edge/console.h"

namespace tool {

namespace {
/// Texts from outside may hold broken UTF-8; a replacement character is better than no answer.
std::string text(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}
}  // namespace

void printJson(const Json& json) {
  if (!json.is_array() || json.empty()) return printRaw(text(json) + "\n");
  for (std::size_t i = 0; i < json.size(); ++i) printRaw((i == 0 ? "[" : ",\n ") + text(json[i]));
  printRaw("]\n");
}

}  // namespace tool
