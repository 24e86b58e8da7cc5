// The options of the group `tellira db`.
#pragma once

#include <memory>
#include <string>

namespace tool {

struct DbOptions {
  std::string directory = ".";

  /// Absolute path of the working directory that holds "DB".
  /// @throws Failure (kUsage) when it has no "DB"
  std::string checkedDirectory() const;
};
using SharedDbOptions = std::shared_ptr<const DbOptions>;

}  // namespace tool
