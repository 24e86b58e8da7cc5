// The files by which a session sees that zlib and the self-installer are there.
#pragma once

#include <string>

namespace tool {

/// A directory of the tool's own with both files, empty, for as long as this lives: the tool brings zlib along. Without
/// a place for it packets go uncompressed.
class ApplicationDirectory {
 public:
  ApplicationDirectory();
  ~ApplicationDirectory();
  ApplicationDirectory(const ApplicationDirectory&) = delete;
  ApplicationDirectory& operator=(const ApplicationDirectory&) = delete;

 private:
  std::string path_;
};

}  // namespace tool
