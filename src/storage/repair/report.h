// What checking, listing and repairing tell.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "storage/disk_layout.h"

namespace vorne {

struct Problem {
  std::string file;          ///< name in the data directory
  std::int64_t record = -1;  ///< counted from 1; -1: the file as a whole
  std::string problem;       ///< in English, as ISO-8859-1 (it may quote names)
  bool repaired = false;
  bool byHand = false;     ///< no repair can put it right; the words tell what can
  bool isRefusal = false;  ///< no damage of its own, but why some is not repaired
};

struct DatabaseReport {
  DatabaseHdrType entry = {};
  std::string name;
  DatabaseKind kind = kFixedDatabase;
  std::uint32_t appInfoBytes = 0;
  std::uint64_t records = 0;
  std::uint64_t damagedRecords = 0;         ///< stretches that no record can be read from, and headers that are wrong
  std::uint64_t recordBytes = 0;            ///< bytes in use in all records
  std::uint32_t smallest = 0, largest = 0;  ///< of the records, bytes in use
  std::uint64_t dataFileBytes = 0, offsetsFileBytes = 0;
};

struct DirectoryReport {
  bool exists = false;   ///< there is a directory "DB"
  bool inUse = false;    ///< another process has databases open; a repair has changed nothing then
  bool sound = false;    ///< no damage is left
  bool refused = false;  ///< the system did not let a file be read or written, as a problem tells
  std::vector<DatabaseReport> databases;
  std::vector<Problem> problems;  ///< damage, at most 100 a file and a line that counts the rest
  std::vector<Problem> notes;     ///< what does no harm, bounded likewise
  std::uint64_t bytes = 0;        ///< of the databases' files

  // What has been there by any evidence and cannot be saved (after a repair: could not).
  std::uint64_t lostRecords = 0;
  std::uint64_t lostValues = 0;     ///< fields that are left empty
  std::uint64_t lostDatabases = 0;  ///< tables, indexes, memo databases as a whole
  bool lostMore = false;            ///< ... and more, which nothing counts any longer

  std::uint64_t lost() const { return lostRecords + lostValues + lostDatabases; }
  bool changed = false;  ///< a repair has changed something
  std::string copies;    ///< the directory with the files as they were before; empty without any
};

struct CheckProgress {
  std::string file;  ///< that is being read
  std::uint64_t bytes, allBytes;
};

struct CheckOptions {
  std::function<void(const CheckProgress&)> progress;  ///< called at least once a megabyte; may be empty
};

}  // namespace vorne
