// A regular file is written beside its place under another name and takes it when it is complete; pipes, devices and
// standard output are written as they are. Directories of databases are left alone: a repair would take such a file for
// a stray, and programs for one of theirs.
#include "edge/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "edge/console.h"
#include "storage/disk_layout.h"
#include "storage/format/names.h"

namespace tool {
namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;  // as the system follows

/// The file that is meant in the end, links followed, whether it is there yet or not; as it stands where that cannot be
/// known.
fs::path meant(fs::path path) {
  std::error_code error;
  for (int links = 0; links < kMostLinks && fs::is_symlink(fs::symlink_status(path, error)); ++links)
    path = path.parent_path() / fs::read_symlink(path, error);
  const fs::path folder = fs::canonical(path.has_parent_path() ? path.parent_path() : ".", error);
  return error ? path : folder / path.filename();
}

/// True for a place in a directory of databases, or somewhere below one, and in one that a program would take for its
/// own although nothing is in it yet.
/// @param data a directory of databases that has perhaps lost its catalogue, or empty
bool isAmongDatabases(const fs::path& path, const std::string& data) {
  std::error_code ignored;
  if (path.parent_path().string().ends_with(vorne::kDataDirectory)) return true;
  for (fs::path folder = path.parent_path();; folder = folder.parent_path()) {
    if (fs::equivalent(folder, data, ignored)) return true;
    for (const char* name : {vorne::kCatalogName, vorne::kCatalogBackupName})
      if (fs::exists(folder / name, ignored)) return true;
    if (folder == folder.parent_path()) return false;
  }
}

}  // namespace

OutputFile::OutputFile(const std::string& name, const std::string& data) : name_(name) {
  struct stat there = {}, output = {};
  const bool isThere = ::stat(name.c_str(), &there) == 0;
  // By any name, as in /dev/stdout: what it was redirected to must not be replaced.
  const bool isOutput =
      isThere && ::fstat(STDOUT_FILENO, &output) == 0 && there.st_dev == output.st_dev && there.st_ino == output.st_ino;
  if (name == "-" || isOutput) {
    name_ = "standard output";
    std::fflush(stdout);
    file_ = STDOUT_FILENO;
    return;
  }
  // A pipe or a device cannot be put in place by a new name.
  if (isThere && !S_ISREG(there.st_mode)) {
    open(name, 0);
    return;
  }
  path_ = meant(name);
  if (isAmongDatabases(path_, data))
    throw Failure(kUsage, name +
                              " lies in a directory of databases, where no other file may be.\n  next: name a file "
                              "in another directory.");
  // What is left of a killed run goes by its name: it could be a link to anything.
  const std::string unfinished = path_ + ".part";
  ::unlink(unfinished.c_str());
  open(unfinished, O_CREAT | O_EXCL);
  unfinished_ = unfinished;
  if (isThere) ::fchmod(file_, there.st_mode & 07777);
}

void OutputFile::open(const std::string& path, int flags) {
  file_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC | flags, 0666);
  if (file_ < 0) fail(kUsage);
}

OutputFile::~OutputFile() {
  if (file_ > STDOUT_FILENO) ::close(file_);
  if (!unfinished_.empty()) ::unlink(unfinished_.c_str());
}

void OutputFile::fail(int status) const {
  throw Failure(static_cast<Status>(status), name_ + " cannot be written: " + std::strerror(errno) +
                                                 ".\n  next: look whether the disk is full and the place may be "
                                                 "written to.");
}

void OutputFile::flush() {
  std::string_view rest = text_;
  while (!rest.empty()) {
    const ssize_t done = ::write(file_, rest.data(), rest.size());
    if (done < 0 && errno == EINTR) continue;
    if (done < 0) fail(kEnded);
    rest.remove_prefix(static_cast<std::size_t>(done));
    written_ += static_cast<std::uint64_t>(done);
  }
  text_.clear();
}

void OutputFile::finish() {
  flush();
  if (unfinished_.empty()) return;
  // Closed before it takes the name: on some file systems a full disk shows only then.
  if (::close(file_) != 0 || std::rename(unfinished_.c_str(), path_.c_str()) != 0) {
    file_ = -1;
    fail(kEnded);
  }
  file_ = -1;
  unfinished_.clear();
}

}  // namespace tool
