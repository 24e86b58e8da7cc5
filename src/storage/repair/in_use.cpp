#include "storage/repair/in_use.h"

#include <sys/file.h>

#include <cerrno>

#include "storage/disk_layout.h"
#include "storage/files/descriptor.h"
#include "storage/files/patient_lock.h"

namespace vorne {

namespace {

// There is no asking without taking: the lock is held for an instant, and goes when the file is closed. A file system
// without locks refuses in another way, which is no sign of a program.
bool isHeld(const std::string& path) {
  const int file = OpenFile(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  if (file < 0) return false;
  const bool held = !LockPatiently(file, LOCK_EX) && errno == EWOULDBLOCK;
  fileSystem.close(file);
  return held;
}

}  // namespace

HeldDirectory::HeldDirectory(const std::string& path)
    : file_(OpenFile((path + "/" + kCatalogName).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK)) {
  isOthers_ = file_ >= 0 && !LockPatiently(file_, LOCK_EX) && errno == EWOULDBLOCK;
}

HeldDirectory::~HeldDirectory() {
  if (file_ >= 0) fileSystem.close(file_);
}

ToolsKeptOut::ToolsKeptOut(const std::string& path)
    : directory_(OpenFile(path.c_str(), O_RDONLY | O_DIRECTORY | O_NONBLOCK)) {
  // Between two tools that follow each other there are a few milliseconds.
  constexpr int kTries = 400;
  if (directory_ < 0) return;
  for (int tries = 0; tries < kTries; ++tries)
    if (LockPatiently(directory_, LOCK_SH) || errno != EWOULDBLOCK) return;
}

ToolsKeptOut::~ToolsKeptOut() {
  if (directory_ >= 0) fileSystem.close(directory_);
}

std::string HeldFile(const std::string& path) {
  const std::string catalog = path + "/" + kCatalogName;
  if (isHeld(catalog)) return catalog;
  for (const std::string_view name : kJournalNames) {
    const std::string journal = path + "/" + std::string(name);
    if (isHeld(journal)) return journal;
  }
  return {};
}

}  // namespace vorne
