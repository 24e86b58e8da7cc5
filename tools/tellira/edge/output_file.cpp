#include "edge/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>

#include "edge/console.h"

namespace tool {
namespace {

bool isSpecial(const std::string& name) {
  struct stat found = {};
  return ::stat(name.c_str(), &found) == 0 && !S_ISREG(found.st_mode);
}

}  // namespace

OutputFile::OutputFile(const std::string& name) : name_(name == "-" ? "standard output" : name) {
  if (name == "-") {
    std::fflush(stdout);
    file_ = STDOUT_FILENO;
    return;
  }
  // A pipe or a device cannot be put in place by a new name.
  if (!isSpecial(name)) unfinished_ = name + ".part";
  const std::string& path = unfinished_.empty() ? name_ : unfinished_;
  file_ = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file_ < 0) {
    unfinished_.clear();
    fail(kUsage);
  }
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
    if (done < 0 && errno == EPIPE) {
      // Who calls the tool may have it ignore the signal; a reader that went away is no failure.
      std::signal(SIGPIPE, SIG_DFL);
      std::raise(SIGPIPE);
    }
    if (done < 0) fail(kEnded);
    rest.remove_prefix(static_cast<std::size_t>(done));
    written_ += static_cast<std::uint64_t>(done);
  }
  text_.clear();
}

void OutputFile::finish() {
  flush();
  if (unfinished_.empty()) return;
  if (::close(file_) != 0 || std::rename(unfinished_.c_str(), name_.c_str()) != 0) {
    file_ = -1;
    fail(kEnded);
  }
  file_ = -1;
  unfinished_.clear();
}

}  // namespace tool
