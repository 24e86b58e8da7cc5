// Files as they were before a repair changed them, kept for whoever wants to save more from them by hand; and putting a
// repaired file in the old one's place.
#pragma once

#include <string>

#include "storage/format/chain.h"

namespace vorne {

/// Copies `directory`/`file` into a directory "repair-YYYYMMDD_HHMMSS" in `directory`; nothing ever removes it. Copies
/// of one run share a directory until one of them is there already. True when the copy is on the disk, or there is no
/// file.
bool KeepCopy(const char* directory, const char* file);
/// Where the last copy went; empty before the first one.
const std::string& CopiesDirectory();
/// Lets the next copy begin a new directory.
void BeginCopies();

/// Puts `content` in the place of `directory`/`file` once it is on the disk. False when that fails (errno): the old
/// file stays.
bool ReplaceFile(const std::string& directory, const std::string& file, FileBytes content);

}  // namespace vorne
