// The storage floor makes anew what it finds missing; a file that may not be read must never be taken for a missing
// one.
#include "db/access.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "edge/console.h"
#include "edge/lock_holder.h"
#include "storage/format/names.h"
#include "storage/repair/in_use.h"
#include "text/text.h"

namespace tool {

void demandAccess(const std::string& path, Use use) {
  const auto demand = [&path](int mode, const char* words) {
    if (::access(path.c_str(), mode) != 0 && errno != ENOENT)
      throw Failure(kEnded, path + words + std::strerror(errno) + kRefused);
  };
  demand(R_OK, " cannot be read: ");
  if (use == Use::kWrites) demand(W_OK, " cannot be written: ");
}

std::string userOf(const std::string& data) {
  return lockHolder(vorne::HeldFile(data), "a program");
}

void refuseInUse(const std::string& directory) {
  throw Failure(kUsage, userOf(directory + vorne::kDataDirectory) + " has the databases of " + directory +
                            " open; nothing was changed.\n  next: end it and try again.");
}

}  // namespace tool
