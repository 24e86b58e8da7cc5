// A data directory as checking and repairing see it: a list of files that are read whole, without the mappings and the
// tables of the running process. Nothing here follows a symbolic link or changes a byte.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>

#include "storage/format/chain.h"

namespace vorne {

enum class FileKind {
  kMissing,
  kRegular,
  kLink,      ///< a symbolic link to a regular file
  kLostLink,  ///< ... that leads nowhere just now, as onto a disk that is not there
  kOther,     ///< a directory, a pipe, ...
};

/// A file's bytes, as many as could be read.
struct RawFile {
  std::unique_ptr<char[]> memory;
  std::size_t length = 0;      ///< bytes in memory, at most kLargestFile
  std::uint64_t fileSize = 0;  ///< bytes that the file has
  std::string error;           ///< why it could not be read, in the system's words; empty when it could

  FileBytes bytes() const { return {memory.get(), length}; }
};

class DataDirectory {
 public:
  struct File {
    FileKind kind;
    ino_t inode;
    std::uint64_t size;
    std::int64_t changed;  ///< nanoseconds since 1970

    bool operator==(const File&) const = default;
  };

  /// Lists the directory at `path` (the one that holds the databases).
  explicit DataDirectory(std::string path);

  bool exists() const { return exists_; }
  /// By name, in the order of their bytes.
  const std::map<std::string, File>& files() const { return files_; }
  /// Bytes of a file, 0 for none.
  std::uint64_t sizeOf(const std::string& name) const;
  FileKind kindOf(const std::string& name) const;
  std::string pathOf(const std::string& name) const { return path_ + "/" + name; }
  const std::string& path() const { return path_; }

  /// Reads at most `limit` bytes of a regular file, telling `readSome` after every piece how many bytes it had.
  RawFile read(const std::string& name, std::size_t limit = kLargestFile,
               const std::function<void(std::size_t)>& readSome = {}) const;

 private:
  std::string path_;
  bool exists_ = false;
  std::map<std::string, File> files_;
};

/// What stands under a path; of kind kMissing for nothing.
DataDirectory::File FileOf(const std::string& path);

/// The file's header; all zeros when it has less than 20 bytes.
FileHeader FileHeaderOf(FileBytes bytes);

}  // namespace vorne
