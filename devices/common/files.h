// The files beside a device: where they lie, how they are locked, read and replaced.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace device {

/// The directory that this shared library was loaded from, as an absolute path, links not followed.
const std::string& home();

/// Holds an exclusive lock on a file until destroyed, so that two processes never work on one device at once.
class Lock {
 public:
  explicit Lock(const std::string& path);
  ~Lock();
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;
  bool held() const { return descriptor_ >= 0; }

 private:
  int descriptor_;
};

enum class ReadResult { kOk, kAbsent, kError };
/// The whole file, at most `limit` bytes; a longer one is an error.
ReadResult readWhole(const std::string& path, std::size_t limit, std::string& content);
/// Replaces the file in one step: whoever reads sees the old content or the new one.
bool replaceFile(const std::string& path, std::string_view content);

/// Appends and flushes. Returns the length before, to undo the appending with; nothing when it failed, and then the
/// file is as it was.
std::optional<long> appendFile(const std::string& path, std::string_view content);
void truncateFile(const std::string& path, long length);

/// A plain name of letters, digits, '.', '-', '_' that does not begin with a point and is not a device's own file.
bool plainName(std::string_view name);

}  // namespace device
