// A variable is an answer with parts: "0", "1", ... for its fields, names for what a dialogue leaves.
#include "sale/variables.h"

#include <algorithm>
#include <ctime>

namespace tool {
namespace {

std::string digits(int value, std::size_t width) {
  const std::string text = std::to_string(value);
  return std::string(width - std::min(width, text.size()), '0') + text;
}

}  // namespace

Variables::Variables() {
  // Taken once: a sale that runs over midnight has one date and time in all its lines.
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  localtime_r(&now, &local);
  set("today", "0", digits(local.tm_year + 1900, 4) + digits(local.tm_mon + 1, 2) + digits(local.tm_mday, 2));
  set("now", "0", digits(local.tm_hour, 2) + digits(local.tm_min, 2) + digits(local.tm_sec, 2));
}

void Variables::set(const std::string& name, const std::vector<std::string>& fields) {
  auto& parts = values_[name];
  parts.clear();
  for (std::size_t i = 0; i < fields.size(); ++i) parts[std::to_string(i)] = fields[i];
}

void Variables::set(const std::string& name, const std::string& key, const std::string& value) {
  values_[name][key] = value;
}

std::optional<std::string> Variables::expand(const Word& word, std::string& missing) const {
  std::string text;
  for (const Piece& piece : word.pieces) {
    if (!piece.variable) {
      text += piece.text;
      continue;
    }
    const auto name = values_.find(piece.text);
    const bool known = name != values_.end() && name->second.count(piece.key) != 0;
    if (!known) {
      missing = "$" + piece.text + "." + piece.key;
      return std::nullopt;
    }
    text += name->second.at(piece.key);
  }
  return text;
}

}  // namespace tool
