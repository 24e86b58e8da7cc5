// Members keep the order in which they were set, so that two runs can be compared line by line.
#include "edge/json_text.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "edge/console.h"

namespace tool {

namespace {
/// Texts from outside may hold broken UTF-8; a replacement character is better than no answer.
std::string quoted(std::string_view text) {
  return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}
}  // namespace

Json::Json(std::string_view text) : text_(quoted(text)) {}

Json::Json(const std::vector<std::string>& texts) : kind_(Kind::kArray), values_(texts.begin(), texts.end()) {}

Json::Json(std::initializer_list<std::pair<const char*, Json>> members) {
  for (const auto& [name, value] : members) (*this)[name] = value;
}

Json Json::array() {
  return std::vector<std::string>();
}

Json& Json::operator[](const char* name) {
  kind_ = Kind::kObject;
  const std::string wanted = quoted(name);
  const auto at = std::find(names_.begin(), names_.end(), wanted) - names_.begin();
  if (static_cast<std::size_t>(at) == names_.size()) {
    names_.push_back(wanted);
    values_.emplace_back();
  }
  return values_[static_cast<std::size_t>(at)];
}

void Json::push_back(Json value) {
  values_.push_back(std::move(value));
}

std::string Json::text() const {
  if (kind_ == Kind::kScalar) return text_;
  std::string inside;
  for (std::size_t i = 0; i < values_.size(); ++i) {
    inside += (i == 0 ? "" : ",") + (kind_ == Kind::kObject ? names_[i] + ":" : "") + values_[i].text();
  }
  return kind_ == Kind::kObject ? "{" + inside + "}" : "[" + inside + "]";
}

void printJson(const Json& json) {
  if (!json.isArray() || json.values().empty()) return printRaw(json.text() + "\n");
  bool first = true;
  for (const Json& value : json.values()) printRaw((std::exchange(first, false) ? "[" : ",\n ") + value.text());
  printRaw("]\n");
}

bool isJson(std::string_view text) {
  return nlohmann::json::accept(text);
}

}  // namespace tool
