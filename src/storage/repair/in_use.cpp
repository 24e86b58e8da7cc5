#include "storage/repair/in_use.h"

#include <sys/file.h>

#include <cerrno>

#include "storage/disk_layout.h"
#include "storage/files/descriptor.h"

namespace vorne {

namespace {

bool isHeld(const std::string& path) {
  const int file = OpenFile(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (file < 0) return false;
  const bool held = fileSystem.flock(file, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
  fileSystem.close(file);
  return held;
}

}  // namespace

bool IsInUse(const std::string& path) {
  if (isHeld(path + "/" + kCatalogName)) return true;
  for (const std::string_view journal : kJournalNames)
    if (isHeld(path + "/" + std::string(journal))) return true;
  return false;
}

}  // namespace vorne
