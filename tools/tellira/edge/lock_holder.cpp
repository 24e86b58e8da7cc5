#include "edge/lock_holder.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace tool {
namespace {

/// A file as the system's list of locks names it: device and inode.
std::string nameInList(int descriptor) {
  struct stat found = {};
  if (fstat(descriptor, &found) != 0) return {};
  char text[64];
  std::snprintf(text, sizeof text, "%02x:%02x:%llu", major(found.st_dev), minor(found.st_dev),
                static_cast<unsigned long long>(found.st_ino));
  return text;
}

}  // namespace

std::string lockHolder(int descriptor) {
  const std::string wanted = nameInList(descriptor);
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    std::istringstream words(line);
    std::string number, kind, advice, access, process, file;
    words >> number >> kind >> advice >> access >> process >> file;
    if (kind != "FLOCK" || file != wanted) continue;
    std::string name;
    std::getline(std::ifstream("/proc/" + process + "/comm"), name);
    return "process " + process + (name.empty() ? "" : " (" + name + ")");
  }
  return "another process";
}

}  // namespace tool
