// Inside the storage floor: files of databases without an entry, put away for new ones of their names, and back when
// those cannot be made.
#pragma once

#include <string>
#include <vector>

namespace vorne {

/// Files that the catalogue does not know and that may hold all that is left of a database whose entry was lost. They
/// are among the copies of repairs while the object lives and stay there, unless they are put back before.
class PutAway {
 public:
  /// @param names of databases, that of the new one first; their offsets files go with them. Those that hold nothing
  /// stay where they are.
  explicit PutAway(const std::vector<std::string>& names);
  ~PutAway();
  PutAway(const PutAway&) = delete;
  PutAway& operator=(const PutAway&) = delete;

  /// False when they could not be put away (errno): all of them are where they were.
  bool isDone() const { return isDone_; }
  /// The file that could not be put away, or the first of the names where it was none.
  const std::string& failed() const { return failed_; }
  /// Puts these back; none takes the place of another file.
  void back();

 private:
  const std::size_t place_;
  std::string failed_;
  bool isDone_;
};

/// Puts back what is away just now: for errors, behind which nobody asks for it.
void PutAllBack();

}  // namespace vorne
