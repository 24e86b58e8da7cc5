// The copies of one repair lie in one directory, named by its time, until a file comes a second time: then in a new
// one.
#include "storage/files/kept_copies.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <memory>

#include "runtime/local_clock.h"
#include "storage/files/descriptor.h"
#include "storage/files/unfinished_file.h"
#include "storage/format/names.h"

namespace vorne {

namespace {

constexpr std::size_t kPiece = 1 << 16;
constexpr int kSuffixes = 1000;  // repairs within one second

std::string copies;

bool exists(const std::string& path) {
  struct stat found;
  return fileSystem.stat(path.c_str(), &found) == 0;
}

bool makeCopiesDirectory(const std::string& directory) {
  const std::tm now = LocalNow();
  char stamp[32];
  std::strftime(stamp, sizeof stamp, "%Y%m%d_%H%M%S", &now);
  for (int i = 1; i <= kSuffixes; ++i) {
    const std::string path = directory + "/" + kCopiesPrefix + stamp + (i == 1 ? "" : "-" + std::to_string(i));
    if (fileSystem.mkdir(path.c_str(), 0770) == 0) {
      copies = path;
      return true;
    }
    if (errno != EEXIST) return false;
  }
  return false;
}

bool putAll(int from, UnfinishedFile& to) {
  const std::unique_ptr<char[]> piece(new char[kPiece]);
  for (;;) {
    const ssize_t n = fileSystem.read(from, piece.get(), kPiece);
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) return n == 0;
    to.put(piece.get(), static_cast<std::size_t>(n));
  }
}

// Names in a directory are on the disk only after this; a file system that cannot do it has no more to offer.
void syncDirectory(const std::string& path) {
  const int directory = OpenFile(path.c_str(), O_RDONLY | O_DIRECTORY);
  if (directory < 0) return;
  fileSystem.fsync(directory);
  fileSystem.close(directory);
}

// The program that goes on with the file may be another user than the technician who repairs it.
void giveToOwnerOf(const std::string& directory, const std::string& path) {
  struct stat owner;
  if (fileSystem.stat(directory.c_str(), &owner) == 0 && ::chown(path.c_str(), owner.st_uid, owner.st_gid) != 0)
    errno = 0;  // only the superuser can, and needs to
}

// Of what lies in a directory, the names that begin so; none when it cannot be read.
std::vector<std::string> namesIn(const std::string& directory, const char* prefix) {
  std::vector<std::string> names;
  std::error_code error;
  for (std::filesystem::directory_iterator at(directory, error), end; !error && at != end; at.increment(error))
    if (std::string name = at->path().filename(); name.starts_with(prefix)) names.push_back(std::move(name));
  return names;
}

bool makeEmpty(const std::string& path) {
  const int file = OpenFile(path.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0660);
  return file >= 0 && fileSystem.close(file) == 0;
}

// A symbolic link as one that leads to the same file from any directory. False for what is none.
bool keepLink(const std::string& directory, const std::string& file, const std::string& place) {
  char target[PATH_MAX];
  const ssize_t length = ::readlink((directory + "/" + file).c_str(), target, sizeof target);
  if (length <= 0) return false;
  const std::string told(target, static_cast<std::size_t>(length));
  const std::string whole = told[0] == '/' ? told : directory + "/" + told;
  return ::symlink(whole.c_str(), (place + "/" + file).c_str()) == 0;
}

bool copyFile(int from, const std::string& name) {
  // Under another name until it is whole: a repair that is cut off leaves no copy that looks complete.
  UnfinishedFile copy(copies + "/" + kUnfinishedName);
  return putAll(from, copy) && copy.become(copies + "/" + name, UnfinishedFile::Wait::ForTheDisk);
}

}  // namespace

bool KeepCopy(const char* directory, const char* file) {
  const std::string place = directory, name = file;
  const int from = OpenFile((place + "/" + name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
  // What is not there needs no copy; what cannot be read must not be changed.
  if (from < 0) return errno == ENOENT;
  const std::string before = copies;
  const bool usable = copies.starts_with(place + "/") && !exists(copies + "/" + name);
  const bool kept = (usable || makeCopiesDirectory(place)) && copyFile(from, name);
  const int failure = errno;
  fileSystem.close(from);
  if (kept)
    syncDirectory(copies);
  else if (!copies.empty() && ::rmdir(copies.c_str()) == 0)  // only where nothing was copied before
    copies = copies == before ? "" : before;
  errno = failure;
  return kept;
}

bool KeepTogether(const std::string& directory, const std::vector<std::string>& files, const std::string& mark,
                  std::string* failed) {
  if (files.empty()) return true;
  const std::string before = copies;
  if (!makeCopiesDirectory(directory)) return false;
  const std::string place = copies;
  const auto keep = [&](const std::string& file) {
    const bool kept = keepLink(directory, file, place) ||
                      fileSystem.link((directory + "/" + file).c_str(), (place + "/" + file).c_str()) == 0 ||
                      KeepCopy(directory.c_str(), file.c_str());
    if (!kept && failed != nullptr) *failed = file;
    return kept;
  };
  if ((mark.empty() || makeEmpty(place + "/" + mark)) && std::all_of(files.begin(), files.end(), keep)) {
    syncDirectory(place);
    syncDirectory(directory);
    return true;
  }
  const int failure = errno;
  for (const std::string& file : files) fileSystem.unlink((place + "/" + file).c_str());
  if (!mark.empty()) fileSystem.unlink((place + "/" + mark).c_str());
  ::rmdir(place.c_str());
  copies = before;
  errno = failure;
  return false;
}

std::map<std::string, std::string> PutAwayIn(const std::string& directory) {
  std::map<std::string, std::string> all;
  for (const std::string& name : namesIn(directory, kCopiesPrefix))
    for (const std::string& mark : namesIn(directory + "/" + name, kPutAwayMark))
      all[FoldedName(mark.substr(std::strlen(kPutAwayMark)))] = directory + "/" + name;
  return all;
}

const std::string& CopiesDirectory() {
  return copies;
}

void BeginCopies() {
  copies.clear();
}

bool ReplaceFile(const std::string& directory, const std::string& file, FileBytes content,
                 const std::function<bool()>& before) {
  const std::string path = directory + "/" + file;
  const bool isNew = !exists(path);
  // In the same directory, since only within one file system a new file takes an old one's place in one step.
  UnfinishedFile replacement(directory + "/" + kUnfinishedName);
  for (std::size_t done = 0; done < content.size(); done += kPiece)
    replacement.put(content.data() + done, std::min(kPiece, content.size() - done));
  if (!replacement.become(path, UnfinishedFile::Wait::ForTheDisk, before)) return false;
  if (isNew) giveToOwnerOf(directory, path);
  syncDirectory(directory);
  return true;
}

}  // namespace vorne
