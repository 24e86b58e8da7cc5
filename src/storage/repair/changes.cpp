// No file of the directory is changed anywhere else in a repair, apart from what the journal of an interrupted change
// puts right.
#include "storage/repair/changes.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "storage/files/kept_copies.h"
#include "storage/files/system.h"
#include "storage/format/names.h"

namespace vorne {

bool Changes::keep(const std::string& file) {
  struct stat found;
  const std::string& copies = CopiesDirectory();
  if (!copies.empty() && fileSystem.stat((copies + "/" + file).c_str(), &found) == 0) return true;
  if (KeepCopy(directory_.c_str(), file.c_str())) return true;
  failed(file, "it could not be copied before its repair");
  return false;
}

// Another file could take its place all the same, but whoever took the right to write away did not want that.
bool Changes::mayWrite(const std::string& file) {
  if (::access((directory_ + "/" + file).c_str(), W_OK) == 0 || errno == ENOENT) return true;
  failed(file, "it cannot be written");
  return false;
}

// The copy before the new file: at any moment the old bytes are on the disk under one of the two names.
bool Changes::replace(const std::string& file, FileBytes content, const std::function<bool()>& before) {
  if (!mayWrite(file) || !keep(file)) return false;
  const bool replaced = ReplaceFile(directory_, file, content, before);
  const int failure = errno;
  report_.changed = report_.changed || replaced;
  const bool isThere = ::access((directory_ + "/" + file).c_str(), F_OK) == 0;
  errno = failure;
  if (!replaced) failed(file, isThere ? "its repair could not be written, it is as it was" : "it could not be written");
  return replaced;
}

bool Changes::replaceData(const std::string& file, FileBytes content, FileBytes offsets) {
  const std::string name = OffsetsName(file);
  bool removed = false;
  if (offsets.empty()) return replace(file, content);
  if (replace(file, content, [&] { return removed = remove(name); })) return true;
  if (removed && !ReplaceFile(directory_, name, offsets))
    failed(name, "it could not be put back, only its copy is left");
  return false;
}

bool Changes::remove(const std::string& file) {
  if (!mayWrite(file) || !keep(file)) return false;
  const bool removed = fileSystem.unlink((directory_ + "/" + file).c_str()) == 0 || errno == ENOENT;
  report_.changed = report_.changed || removed;
  if (!removed) failed(file, "it could not be removed");
  return removed;
}

void Changes::failed(const std::string& file, const std::string& words) {
  report_.refused = true;
  Problem refusal{.file = file, .problem = words + ": " + std::strerror(errno), .isRefusal = true};
  // Several steps of a repair may want the same file.
  const auto isSame = [&](const Problem& told) { return told.file == file && told.problem == refusal.problem; };
  if (std::none_of(report_.problems.begin(), report_.problems.end(), isSame))
    report_.problems.push_back(std::move(refusal));
}

}  // namespace vorne
