// Tools that change the databases of one directory do so one after the other.
#pragma once

#include <string>

namespace tool {

/// Keeps other tools out while it lives, by a lock on the directory itself, which no program takes. Two tools wait for
/// each other, five seconds at most. A program is not waited for: it holds what it has open for as long as it runs.
class DirectoryLock {
 public:
  /// @param directory absolute path of the working directory that holds "DB"
  /// @throws Failure (kUsage) when another tool does not end, or a program has the databases open; (kEnded) when they
  ///     may not be written
  explicit DirectoryLock(const std::string& directory);
  ~DirectoryLock();
  DirectoryLock(const DirectoryLock&) = delete;
  DirectoryLock& operator=(const DirectoryLock&) = delete;

 private:
  void wait(const std::string& directory) const;

  std::string data_;
  int lock_;
};

}  // namespace tool
