// Inside the storage floor: a file that is written beside another one and takes its place once it is whole.
#pragma once

#include <functional>
#include <string>

#include "storage/vornerdd.h"

namespace vorne {

/// Written front to back; gone with the object unless it became a file.
class UnfinishedFile {
 public:
  explicit UnfinishedFile(std::string path);
  ~UnfinishedFile();
  UnfinishedFile(const UnfinishedFile&) = delete;
  UnfinishedFile& operator=(const UnfinishedFile&) = delete;

  void put(const void* bytes, std::size_t size);
  /// Makes it `size` bytes long and writes `header` over its start.
  void finish(const FileHeader& header, UInt32 size);

  enum class Wait { ForTheDisk, No };
  /// Gives it the place of the file at `path`; false (errno) when anything failed: the old file is as it was.
  /// @param before called when it is whole and only has to take the place; false keeps it from that
  bool become(const std::string& path, Wait wait, const std::function<bool()>& before = {});

 private:
  void flush();
  bool close();

  std::string path_;
  int file_;
  std::string buffer_;
  bool sound_;
  bool kept_ = false;
};

}  // namespace vorne
