#include "db/options.h"

#include "edge/console.h"
#include "edge/paths.h"
#include "storage/repair/directory_check.h"

namespace tool {

std::string DbOptions::checkedDirectory() const {
  std::string path = absolute(directory);
  if (path.size() > 1 && path.ends_with('/')) path.pop_back();
  if (vorne::ListDirectory(path).exists) return path;
  throw Failure(kUsage, path + " has no subdirectory DB with databases.\n  next: name the directory that the program " +
                            "works in, as in `tellira db --dir /srv/pos list`.");
}

}  // namespace tool
