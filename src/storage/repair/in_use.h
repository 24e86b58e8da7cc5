// Whether another process has the databases of a directory open.
#pragma once

#include <string>

namespace vorne {

/// The path of the file by whose lock a program shows that it has them open; empty when none does.
/// @param path of the directory that holds the databases
std::string HeldFile(const std::string& path);

/// @param path of the directory that holds the databases
/// @returns true when a program has them open: it holds a lock on the catalogue, and one on its journal once it has
///     changed anything
inline bool IsInUse(const std::string& path) {
  return !HeldFile(path).empty();
}

/// Shows the databases as being in use while it lives, so that tools keep out and nobody who opens them takes what is
/// just being written for a dead process's.
class HeldDirectory {
 public:
  explicit HeldDirectory(const std::string& path);
  ~HeldDirectory();
  HeldDirectory(const HeldDirectory&) = delete;
  HeldDirectory& operator=(const HeldDirectory&) = delete;

  /// A program has them open, and this holds nothing.
  bool isOthers() const { return isOthers_; }

 private:
  int file_;
  bool isOthers_;
};

/// Keeps other tools, which wait for each other by a lock on the directory itself, from beginning while it lives.
class ToolsKeptOut {
 public:
  /// Waits up to two seconds for the one that is at work; who takes longer shows by IsInUse.
  explicit ToolsKeptOut(const std::string& path);
  ~ToolsKeptOut();
  ToolsKeptOut(const ToolsKeptOut&) = delete;
  ToolsKeptOut& operator=(const ToolsKeptOut&) = delete;

 private:
  int directory_;
};

}  // namespace vorne
