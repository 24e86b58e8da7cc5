// What a running script knows by name.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "sale/script.h"

namespace tool {

class Variables {
 public:
  /// Sets $today (YYYYMMDD) and $now (HHMMSS) from the machine's clock.
  Variables();

  /// Keeps an answer's fields as .0, .1, ...; what the name held before is gone.
  void set(const std::string& name, const std::vector<std::string>& fields);

  /// Adds or replaces one part of a name.
  void set(const std::string& name, const std::string& key, const std::string& value);

  /// The text of a word with its variables filled in.
  /// @returns nothing when a part is not there; `missing` then says which
  std::optional<std::string> expand(const Word& word, std::string& missing) const;

 private:
  std::map<std::string, std::map<std::string, std::string>> values_;
};

}  // namespace tool
