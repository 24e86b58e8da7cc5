// All files of a table are in the copies' directory before the first one leaves its place, and back in their places
// before the first copy goes: killed at any moment, either place has all of them. A mark among the copies lasts until
// there is a new table: by it a check finds them when a kill leaves nothing else that tells of the old one.
#include "storage/databases/put_away.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "runtime/latin1.h"
#include "storage/databases/database_files.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/kept_copies.h"
#include "storage/files/mapped_file.h"
#include "storage/files/system.h"
#include "storage/format/names.h"

namespace vorne {

namespace {

struct Away {
  std::string copies;
  std::string mark;
  std::vector<std::string> files;
  std::size_t gone = 0;  // so many of them, from the first, have left their places
};
std::vector<Away> away;

std::vector<std::string> filesThatHold(const std::vector<std::string>& names) {
  std::vector<std::string> files;
  for (const std::string& name : names)
    if (MayHold(name)) files.push_back(name);
  if (files.empty()) return files;
  for (const std::string& name : names)
    if (HasOffsetsFile(name)) files.push_back(OffsetsName(name));
  return files;
}

bool isSameFile(const std::string& a, const std::string& b) {
  struct stat first, second;
  return fileSystem.stat(a.c_str(), &first) == 0 && fileSystem.stat(b.c_str(), &second) == 0 &&
         first.st_ino == second.st_ino && first.st_dev == second.st_dev;
}

bool isBack(const std::string& copy, const std::string& path) {
  if (fileSystem.link(copy.c_str(), path.c_str()) == 0) return true;
  if (errno == EEXIST) return isSameFile(copy, path);
  // A file system without second names: the copy is the file then.
  return fileSystem.rename(copy.c_str(), path.c_str()) == 0;
}

void putBack(const Away& from) {
  bool all = true;
  // The others never left: what lies in their places is no other file, even where the copy is one of its own.
  for (std::size_t i = 0; i < from.gone; ++i) all &= isBack(from.copies + "/" + from.files[i], PathOf(from.files[i]));
  if (!all) return;
  for (const std::string& file : from.files) fileSystem.unlink((from.copies + "/" + file).c_str());
  fileSystem.unlink((from.copies + "/" + from.mark).c_str());
  if (::rmdir(from.copies.c_str()) == 0) BeginCopies();
}

}  // namespace

PutAway::PutAway(const std::vector<std::string>& names) : place_(away.size()), failed_(names.front()) {
  const std::vector<std::string> files = filesThatHold(names);
  const std::string mark = kPutAwayMark + names.front();
  isDone_ = KeepTogether(wcDir, files, mark, &failed_);
  if (!isDone_ || files.empty()) return;
  away.push_back({CopiesDirectory(), mark, files});
  for (const std::string& file : files) {
    if (!DeleteFile(PathOf(file).c_str())) {
      isDone_ = false;
      failed_ = file;
      back();
      return;
    }
    ++away.back().gone;
    Logar(Message("%s existe sem estar em %s: cópia guardada"_l1, file.c_str(), kCatalogName).c_str());
  }
}

PutAway::~PutAway() {
  for (; away.size() > place_; away.pop_back())
    fileSystem.unlink((away.back().copies + "/" + away.back().mark).c_str());
}

void PutAway::back() {
  const int failure = errno;
  for (; away.size() > place_; away.pop_back()) putBack(away.back());
  errno = failure;
}

void PutAllBack() {
  for (; !away.empty(); away.pop_back()) putBack(away.back());
}

}  // namespace vorne
