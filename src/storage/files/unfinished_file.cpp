// Written to the side, then put in a file's place by one renaming: at every moment the name leads to the old file or to
// the whole new one. After the first failure nothing more is written, and the old file stays.
#include "storage/files/unfinished_file.h"

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "storage/files/descriptor.h"
#include "storage/files/system.h"

namespace vorne {

namespace {

constexpr std::size_t kBuffer = 1 << 16;

// Whoever could use the old file can use the new one; only the superuser can give files away.
void takeOwner(int file, const std::string& path) {
  struct stat old;
  if (fileSystem.stat(path.c_str(), &old) != 0) return;
  if (::fchmod(file, old.st_mode & 07777) != 0 || ::fchown(file, old.st_uid, old.st_gid) != 0) errno = 0;
}

}  // namespace

// What a killed run left under this name is written over; a link of that name is not followed to wherever it leads.
UnfinishedFile::UnfinishedFile(std::string path)
    : path_(std::move(path)),
      file_(OpenFile(path_.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW, 0666)),
      sound_(file_ >= 0) {}

UnfinishedFile::~UnfinishedFile() {
  close();
  if (!kept_) fileSystem.unlink(path_.c_str());
}

void UnfinishedFile::put(const void* bytes, std::size_t size) {
  buffer_.append(static_cast<const char*>(bytes), size);
  if (buffer_.size() >= kBuffer) flush();
}

void UnfinishedFile::finish(const FileHeader& header, UInt32 size) {
  flush();
  sound_ =
      sound_ && fileSystem.ftruncate(file_, static_cast<off_t>(size)) == 0 && fileSystem.lseek(file_, 0, SEEK_SET) == 0;
  put(&header, sizeof header);
}

bool UnfinishedFile::become(const std::string& path, Wait wait, const std::function<bool()>& before) {
  flush();
  if (sound_) takeOwner(file_, path);
  // The bytes before the name: else a power loss could leave the name with an empty file.
  sound_ = sound_ && (wait == Wait::No || fileSystem.fsync(file_) == 0);
  // Closed first: some file systems tell only then that the bytes found no space.
  kept_ = close() && sound_ && (!before || before()) && fileSystem.rename(path_.c_str(), path.c_str()) == 0;
  return kept_;
}

void UnfinishedFile::flush() {
  for (std::size_t done = 0; sound_ && done < buffer_.size();) {
    const ssize_t n = fileSystem.write(file_, buffer_.data() + done, buffer_.size() - done);
    sound_ = n > 0;
    done += sound_ ? static_cast<std::size_t>(n) : 0;
  }
  buffer_.clear();
}

bool UnfinishedFile::close() {
  const bool closed = file_ >= 0 && fileSystem.close(file_) == 0;
  file_ = -1;
  return closed;
}

}  // namespace vorne
