#include "db/options.h"

#include <filesystem>

#include "edge/console.h"
#include "edge/paths.h"

namespace tool {

std::string DbOptions::checkedDirectory() const {
  std::string path = absolute(directory);
  if (path.size() > 1 && path.ends_with('/')) path.pop_back();
  std::error_code ignored;
  if (std::filesystem::is_directory(path + "/DB", ignored)) return path;
  throw Failure(kUsage, path + " has no subdirectory DB with databases.\n  next: name the directory that the program " +
                            "works in, as in `tellira db --dir /srv/pos list`.");
}

}  // namespace tool
