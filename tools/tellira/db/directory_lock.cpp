#include "db/directory_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "db/access.h"
#include "edge/console.h"
#include "edge/lock_holder.h"
#include "storage/disk_layout.h"
#include "storage/format/names.h"
#include "storage/repair/in_use.h"

namespace tool {
namespace {

constexpr useconds_t kBetweenTries = 50000;
constexpr int kTries = 100;  // five seconds

}  // namespace

DirectoryLock::DirectoryLock(const std::string& directory)
    : data_(directory + vorne::kDataDirectory), lock_(::open(data_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (lock_ < 0)
    throw Failure(kUsage, data_ + " cannot be opened: " + std::strerror(errno) +
                              ".\n  next: look at the rights of the directory.");
  try {
    demandAccess(data_, Use::kWrites);
    demandAccess(data_ + "/" + vorne::kCatalogName, Use::kWrites);
    wait(directory);
    if (vorne::IsInUse(data_)) refuseInUse(directory);
  } catch (...) {
    ::close(lock_);
    throw;
  }
}

DirectoryLock::~DirectoryLock() {
  ::close(lock_);
}

void DirectoryLock::wait(const std::string& directory) const {
  const auto other = [this] { return lockHolder(data_, "another process"); };
  for (int tries = 0; ::flock(lock_, LOCK_EX | LOCK_NB) != 0; ++tries) {
    if (tries == 0) note("tellira: waiting for " + other() + ", which works with the same databases.");
    if (tries == kTries)
      throw Failure(kUsage, other() + " still works with the databases of " + directory +
                                "; nothing was changed.\n  next: try again when it has ended.");
    ::usleep(kBetweenTries);
  }
}

}  // namespace tool
