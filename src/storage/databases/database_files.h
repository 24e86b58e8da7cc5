// Inside the storage floor: the files of a database.
#pragma once

#include <string>
#include <string_view>

#include "storage/vornerdd.h"

namespace vorne {

/// Where a file of the data directory lies.
std::string PathOf(std::string_view name);
/// True when there is no such file: one that cannot be looked at just now has not vanished.
bool HasVanished(std::string_view name);
/// True when a file of that name may be what somebody misses: what is left of a database that was being made holds
/// nothing, anything else may, even what cannot be read.
bool MayHold(const std::string& name);
/// The application information behind a data file's header as it lies there, of a database that need not be open; empty
/// when it cannot be read.
std::string BlockInFile(const std::string& name, const FileHeader& header);
/// Removes a database's files. False when the data file stays: without it a database is gone, an offsets file alone is
/// nothing.
bool RemoveFiles(std::string_view name);
/// True when there is an offsets file of a database of that name, rather than a database of its own.
bool HasOffsetsFile(std::string_view name);
/// Removes the offsets file of a database of that name; a database of its own is left alone.
void RemoveOffsetsFile(std::string_view name);
/// Gives them another name; what is left of another database under that name goes. An offsets file that cannot follow
/// is made anew by the next opening.
bool RenameFiles(std::string_view from, std::string_view to);
/// True when the database of that catalogue entry has an offsets file, by its type code or, since that may be changed
/// at any time, by its data file.
bool HasOffsets(UInt32 entry);
/// True when the database of that catalogue entry has the type code. Another one that is not of its data file's kind is
/// not believed when the file tells one: it is put right, told in the log.
bool IsOfType(UInt32 entry, std::uint32_t type);
/// Whether a database can have that name: not when one of its files would be another database's too, be it one that the
/// catalogue has lost, which is told in the log. Asked before anything of that name is touched.
/// @param hasOffsets whether it will have an offsets file
Err CheckNewName(std::string_view name, bool hasOffsets);
/// Makes the data file of a database without records; one that is there keeps what lies behind its header.
bool MakeDataFile(std::string_view name, std::uint32_t type);
/// Error 11, told in the log.
[[noreturn]] void CannotCreate(const char* name, int error);

}  // namespace vorne
