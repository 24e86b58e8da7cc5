// Inside the storage floor: the records of one database, read from its files without a mapping.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "storage/reading/read_file.h"

namespace vorne {

class DatabaseReader {
 public:
  /// @param path of the data file
  /// @param kind as its type code in the catalogue tells
  DatabaseReader(const std::string& path, DatabaseKind kind);

  /// The files may have changed.
  void renew();
  void rest();

  /// Records that count and can be found.
  std::uint32_t count();
  /// One record's bytes, good until the next call. @throws ReadFailure kDamaged, also for a position past the end
  std::span<const char> record(std::uint32_t position);
  /// The application-info block, or its first `most` bytes. The same.
  std::span<const char> info(std::size_t most = kLongestInfo);

 private:
  static constexpr std::size_t kLongestInfo = 1 << 20;

  // What the headers tell, read once until the files may have changed.
  struct Layout {
    std::uint64_t firstRecord, end;
    std::uint32_t count, step;  // step: bytes from one record to the next where all are as long, else 0
  };

  const Layout& layout();
  std::uint32_t offsetSlots();
  void followChain();
  [[noreturn]] void throwDamaged(const std::string& what) const;

  std::string name_;
  ReadFile data_;
  std::vector<ReadFile> offsets_;     // one for a database with records of any length, else none
  std::vector<std::uint32_t> chain_;  // the records' places, where the offsets file is missing
  Layout layout_ = {};
  bool known_ = false;
};

/// The catalogue's entries with a name, read with `catalog`.
std::vector<DatabaseHdrType> ReadCatalog(ReadFile& catalog);

}  // namespace vorne
