// Checking and repairing a directory of databases from its files alone, while no program has them open: everything in
// the files may be damaged in any way. Stands on format/, files/ and journal/; the other rooms of storage do not know
// it. Errors are told in a report, none is raised.
//
//  - Checking changes nothing. Repairing first copies each file that it will change into a new directory
//    "DB/repair-<date>_<time>", and puts a new file in the old one's place only when it is complete on the disk.
//  - Damage is what loses records or keeps them from being found; a note is what does no harm.
//  - Symbolic links and what is no regular file are told and never followed or changed.
#pragma once

#include <optional>

#include "storage/repair/report.h"

namespace vorne {

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
