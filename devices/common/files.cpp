// Two programs may use one device at once: whoever has the lock reads the state, works and replaces it.
#include "common/files.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>

namespace device {

namespace {

/// A file descriptor that closes itself.
class File {
 public:
  File(const std::string& path, int flags) : descriptor_(open(path.c_str(), flags | O_CLOEXEC, 0644)) {}
  ~File() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  File(const File&) = delete;
  File& operator=(const File&) = delete;
  int get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

bool writeAll(int descriptor, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count = write(descriptor, content.data(), content.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    content.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

std::string findHome() {
  static const char anchor = 0;  // an address inside this very library
  Dl_info info{};
  const bool known = dladdr(&anchor, &info) != 0 && info.dli_fname != nullptr;
  const std::string file = known ? info.dli_fname : "";
  const std::size_t slash = file.rfind('/');
  const std::string directory = slash == std::string::npos ? "." : file.substr(0, slash + 1);
  if (directory.starts_with('/')) return directory;
  std::array<char, PATH_MAX> current{};
  if (getcwd(current.data(), current.size()) == nullptr) return directory;
  return std::string(current.data()) + "/" + directory;
}

}  // namespace

const std::string& home() {
  // Found once: the host may change its directory later, and the device must stay where it was.
  static const std::string directory = findHome() + "/";
  return directory;
}

Lock::Lock(const std::string& path) : descriptor_(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644)) {
  while (descriptor_ >= 0 && flock(descriptor_, LOCK_EX) != 0) {
    if (errno == EINTR) continue;
    close(descriptor_);
    descriptor_ = -1;
  }
}

Lock::~Lock() {
  if (descriptor_ >= 0) close(descriptor_);
}

ReadResult readWhole(const std::string& path, std::size_t limit, std::string& content) {
  // Not blocking: somebody may have put a pipe where the file should be.
  const File file(path, O_RDONLY | O_NONBLOCK);
  if (!file) return errno == ENOENT ? ReadResult::kAbsent : ReadResult::kError;
  struct stat info {};
  if (fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return ReadResult::kError;
  content.clear();
  std::array<char, 65536> chunk;
  for (;;) {
    const ssize_t count = read(file.get(), chunk.data(), chunk.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return ReadResult::kError;
    if (count == 0) return ReadResult::kOk;
    content.append(chunk.data(), static_cast<std::size_t>(count));
    if (content.size() > limit) return ReadResult::kError;
  }
}

bool replaceFile(const std::string& path, std::string_view content) {
  const std::string temporary = path + ".new";
  {
    const File file(temporary, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW);
    if (!file) return false;
    if (!writeAll(file.get(), content) || fsync(file.get()) != 0) {
      unlink(temporary.c_str());
      return false;
    }
  }
  if (rename(temporary.c_str(), path.c_str()) == 0) return true;
  unlink(temporary.c_str());
  return false;
}

std::optional<long> appendFile(const std::string& path, std::string_view content) {
  const File file(path, O_WRONLY | O_CREAT | O_APPEND | O_NONBLOCK);
  struct stat info {};
  if (!file || fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
  if (writeAll(file.get(), content)) return static_cast<long>(info.st_size);
  truncateFile(path, static_cast<long>(info.st_size));
  return std::nullopt;
}

void truncateFile(const std::string& path, long length) {
  if (truncate(path.c_str(), length) != 0) std::fputs("o papel nao pode ser desfeito\n", stderr);
}

bool plainName(std::string_view name) {
  const auto plain = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-' ||
           c == '_';
  };
  if (name.empty() || name.size() > 64 || name.front() == '.' || !std::all_of(name.begin(), name.end(), plain)) {
    return false;
  }
  // A host names the files that readings go into: none of them may be the device's own, or a library.
  constexpr std::string_view kOwn[] = {"ecf-state.txt", "bema-state.txt", "tef-state.txt", "ecf-tape.txt",
                                       "bema-tape.txt", "ecf.lock",       "bema.lock",     "tef.lock"};
  return !name.ends_with(".so") && !name.ends_with(".new") &&
         std::find(std::begin(kOwn), std::end(kOwn), name) == std::end(kOwn);
}

}  // namespace device
