#include "db/options.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "edge/console.h"
#include "edge/paths.h"
#include "storage/disk_layout.h"

namespace tool {
namespace {

[[noreturn]] void refuseAccess(const std::string& file, const std::string& cause) {
  throw Failure(kUsage, file + " cannot be read: " + cause + ".\n  next: look at its rights, and who runs the tool.");
}

}  // namespace

std::string DbOptions::checkedDirectory() const {
  std::string path = absolute(directory);
  if (path.size() > 1 && path.ends_with('/')) path.pop_back();
  const std::string data = path + "/DB", catalogue = data + "/" + vorne::kCatalogName;
  std::error_code error;
  std::filesystem::directory_iterator(data, error);
  const bool missing = error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
  if (error && !missing) refuseAccess(data, error.message());
  if (!error && ::access(catalogue.c_str(), R_OK) != 0 && errno != ENOENT)
    refuseAccess(catalogue, std::strerror(errno));
  if (!error) return path;
  if (!std::filesystem::exists(path, error))
    throw Failure(kUsage, path + " does not exist.\n  next: name the directory that the program works in with --dir.");
  throw Failure(kUsage, path + " has no subdirectory DB with databases.\n  next: name the directory that the program " +
                            "works in, as in `tellira db --dir /srv/pos list`.");
}

}  // namespace tool
