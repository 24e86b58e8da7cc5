// What a repair changes: each file is copied away before, and what fails stands in the report.
#pragma once

#include <functional>
#include <string>

#include "storage/repair/data_directory.h"
#include "storage/repair/report.h"

namespace vorne {

class Changes {
 public:
  Changes(std::string directory, DirectoryReport& report) : directory_(std::move(directory)), report_(report) {}

  /// Copies a file once: what it was before the first change is what counts. True when it is on the disk, or missing.
  bool keep(const std::string& file);
  /// Puts `content` in the file's place when it is complete on the disk.
  bool replace(const std::string& file, FileBytes content, const std::function<bool()>& before = {});
  /// The same of a data file that moves records: its offsets file goes in the instant before, so that no program finds
  /// old places for new records. It is back when the data file stays as it was.
  /// @param offsets the bytes of the offsets file; empty without one
  bool replaceData(const std::string& file, FileBytes content, FileBytes offsets);
  bool remove(const std::string& file);

 private:
  bool mayWrite(const std::string& file);
  void failed(const std::string& file, const std::string& words);

  std::string directory_;
  DirectoryReport& report_;
};

}  // namespace vorne
