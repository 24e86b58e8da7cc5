#include "db/options.h"

#include <filesystem>

#include "db/access.h"
#include "edge/console.h"
#include "edge/paths.h"
#include "storage/disk_layout.h"
#include "storage/format/names.h"

namespace tool {
namespace {

[[noreturn]] void refuseAccess(const std::string& file, const std::string& cause) {
  throw Failure(kEnded, file + " cannot be read: " + cause + kRefused);
}

}  // namespace

std::string DbOptions::checkedDirectory() const {
  const std::string path = absolute(directory);
  const std::string data = path + vorne::kDataDirectory, catalogue = data + "/" + vorne::kCatalogName;
  std::error_code error;
  std::filesystem::directory_iterator(data, error);
  const bool missing = error == std::errc::no_such_file_or_directory || error == std::errc::not_a_directory;
  if (error && !missing) refuseAccess(data, error.message());
  if (!error) {
    demandAccess(catalogue, Use::kReads);
    return path;
  }
  const bool exists = std::filesystem::exists(path, error);
  if (error) refuseAccess(path, error.message());
  if (!exists)
    throw Failure(kUsage, path + " does not exist.\n  next: name the directory that the program works in with --dir.");
  throw Failure(kUsage, path + " has no subdirectory DB with databases.\n  next: name the directory that the program " +
                            "works in, as in `tellira db --dir /srv/pos list`.");
}

}  // namespace tool
