// Checking and repairing a directory of databases from its files alone, while no program has them open. Everything in
// the files may be damaged in any way.
//
//  - Checking changes nothing. Repairing first copies each file that it will change into a new directory
//    "DB/repair-<date>-<time>", and puts a new file in the old one's place only when it is complete on the disk.
//  - Damage is what loses records or keeps them from being found; a note is what does no harm.
//  - Symbolic links and what is no regular file are told and never followed or changed.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "storage/disk_layout.h"

namespace vorne {

struct Problem {
  std::string file;          ///< name in the data directory
  std::int64_t record = -1;  ///< counted from 1; -1: the file as a whole
  std::string problem;       ///< in English, as ISO-8859-1 (it may quote names)
  bool repaired = false;
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
  bool exists = false;  ///< there is a directory "DB"
  bool inUse = false;   ///< another process has databases open; a repair has changed nothing then
  bool sound = false;   ///< no damage is left
  std::vector<DatabaseReport> databases;
  std::vector<Problem> problems;  ///< damage, at most 100 a file and a line that counts the rest
  std::vector<Problem> notes;     ///< what does no harm, bounded likewise
  std::uint64_t bytes = 0;        ///< that were read
  std::uint64_t lostRecords = 0;  ///< counted once, and cannot be saved (a repair: were not)
  bool lostMore = false;          ///< ... and more, which nothing counts any longer
  bool changed = false;           ///< a repair has changed something
  std::string copies;             ///< the directory with the files as they were before; empty without any
};

struct CheckProgress {
  std::string file;  ///< that is being read
  std::uint64_t bytes, allBytes;
};

struct CheckOptions {
  std::function<void(const CheckProgress&)> progress;  ///< called at least once a megabyte; may be empty
};

/// @param directory the working directory that holds "DB"
DirectoryReport CheckDirectory(const std::string& directory, const CheckOptions& options = {});

/// Repairs what can be, then checks again: what is left stands among the problems as not repaired. A second repair
/// changes nothing.
DirectoryReport RepairDirectory(const std::string& directory, const CheckOptions& options = {});

/// The databases as the catalogue and the files' headers tell them, read without looking at any record: only `exists`
/// and `databases` are filled.
DirectoryReport ListDirectory(const std::string& directory);

/// One database with all that its records tell; the name in any letters, none when there is no such database.
std::optional<DatabaseReport> DescribeDatabase(const std::string& directory, const std::string& name);

}  // namespace vorne
