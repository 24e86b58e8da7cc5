// The printers' paper: files in the working directory that only ever grow.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

/// Looks at the paper files of a directory and tells what was printed since it last looked.
class Tape {
 public:
  /// @param directory absolute path; what is on the paper now is old
  explicit Tape(const std::string& directory);

  /// The lines printed since the last call, in UTF-8, without line ends. At most kMostBytes a call; of more only the
  /// last are told. A file that shrank is new paper and is told from its beginning.
  std::vector<std::string> newLines();

  static constexpr std::uint64_t kMostBytes = 1 << 20;

 private:
  struct Roll {
    std::string file;
    std::uint64_t seen;
  };
  std::vector<Roll> rolls_;
};

}  // namespace tool
