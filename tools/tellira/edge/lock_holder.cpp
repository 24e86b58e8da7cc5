// There is no call that tells who holds a lock; the system shows it in /proc, each way with gaps: open files only to
// their owner and the superuser, the list of locks without some file systems. Both are tried.
#include "edge/lock_holder.h"

#include <dirent.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>

namespace tool {
namespace {

const std::string kProcesses = "/proc/";

/// The process that a line of the system's list of locks names, when it is one of flock.
/// @param file where the line ends with the file of the lock, as "fe:00:1234"
std::string processIn(const std::string& line, std::string& file) {
  std::istringstream words(line.substr(line.find(": ") + 1));
  std::string kind, advice, access, process;
  words >> kind >> advice >> access >> process >> file;
  return kind == "FLOCK" ? process : "";
}

std::string named(const std::string& process) {
  std::string name;
  std::getline(std::ifstream(kProcesses + process + "/comm"), name);
  return "process " + process + (name.empty() ? "" : " (" + name + ")");
}

/// The first answer to the numbers that are names in a directory of the system's.
std::string firstOf(const std::string& directory, const std::function<std::string(const std::string&)>& ask) {
  const std::unique_ptr<DIR, int (*)(DIR*)> opened(opendir(directory.c_str()), closedir);
  std::string answer;
  while (const dirent* entry = opened == nullptr || !answer.empty() ? nullptr : readdir(opened.get()))
    if (std::isdigit(static_cast<unsigned char>(entry->d_name[0])) != 0) answer = ask(entry->d_name);
  return answer;
}

/// The lock as the open file tells it. A child has its parent's open files: the lock names who took it.
std::string holderByOpenFile(const std::string& process, const std::string& number) {
  std::ifstream facts(kProcesses + process + "/fdinfo/" + number);
  std::string file;
  for (std::string line; std::getline(facts, line);) {
    if (!line.starts_with("lock:")) continue;
    const std::string holder = processIn(line.substr(line.find(':') + 1), file);
    if (holder.empty()) continue;
    struct stat found = {};
    return stat((kProcesses + holder).c_str(), &found) == 0 ? holder : process;
  }
  return "";
}

/// Among the open files of all processes that may be looked at.
std::string holderByOpenFiles(const struct stat& wanted) {
  return firstOf(kProcesses, [&](const std::string& process) {
    return firstOf(kProcesses + process + "/fd", [&](const std::string& number) {
      struct stat found = {};
      const std::string path = kProcesses + process + "/fd/" + number;
      const bool isSame =
          stat(path.c_str(), &found) == 0 && found.st_dev == wanted.st_dev && found.st_ino == wanted.st_ino;
      return isSame ? holderByOpenFile(process, number) : "";
    });
  });
}

/// In the list of all locks, for processes of other users. It names the devices of some file systems otherwise than
/// stat does.
std::string holderByList(const struct stat& wanted) {
  char name[64];
  std::snprintf(name, sizeof name, "%02x:%02x:%llu", major(wanted.st_dev), minor(wanted.st_dev),
                static_cast<unsigned long long>(wanted.st_ino));
  std::ifstream locks(kProcesses + "locks");
  std::string file;
  for (std::string line; std::getline(locks, line);)
    if (const std::string holder = processIn(line, file); !holder.empty() && file == name) return holder;
  return "";
}

}  // namespace

std::string lockHolder(const std::string& path, const char* unknown) {
  struct stat wanted = {};
  if (stat(path.c_str(), &wanted) != 0) return unknown;
  std::string holder = holderByOpenFiles(wanted);
  if (holder.empty()) holder = holderByList(wanted);
  return holder.empty() ? unknown : named(holder);
}

}  // namespace tool
