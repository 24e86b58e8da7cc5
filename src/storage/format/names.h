// What stands in the files of a data directory, as bytes: names, chains of records, descriptions, entries and keys.
// Stands on the runtime's types alone, keeps no state and ends no process: a failure is a result (nothing, 0, false).
//
// This file: the names of databases and of their files.
#pragma once

#include <string>
#include <string_view>

#include "storage/disk_layout.h"

namespace vorne {

/// The data directory, counted from the working directory.
inline constexpr char kDataDirectory[] = "/DB";

/// The name as far as the catalogue can hold it.
std::string_view ShortName(const char* name);
/// In capital letters: what names are told apart by.
std::string FoldedName(std::string_view name);
/// The name of a database's offsets file.
std::string OffsetsName(std::string_view name);
/// The name in a catalogue's entry, as far as it goes.
std::string NameOf(const DatabaseHdrType& entry);

/// How the names of temporary databases end: packets from the host, to it, of an install, lists. Their records are no
/// table's.
inline constexpr const char *kReceivedSuffix = ".tPda", *kSentSuffix = ".tHst", *kInstallSuffix = ".tIns",
                            *kListSuffix = ".tLog";
/// True for a name that ends like a temporary database's: no table has one.
bool IsTemporaryName(std::string_view name);

/// True for what can be a file of the data directory itself.
bool IsFileName(std::string_view name);
/// True for a file name that a database can have: at most 31 printable bytes (above 0x7F all count as such), no
/// backslash, none of the directory's own files.
bool IsDatabaseName(std::string_view name);

}  // namespace vorne
