// Files as they were before a repair changed them, kept for whoever wants to save more from them by hand; and putting a
// repaired file in the old one's place.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "storage/format/chain.h"

namespace vorne {

/// What the names of directories with copies begin with.
inline constexpr char kCopiesPrefix[] = "repair-";
/// What the name of an empty file among copies begins with while they are all that there is of a database; the
/// database's follows. Too long for a database of its own.
inline constexpr char kPutAwayMark[] = "put-away-until-there-is-a-new-one-of-";

/// Copies `directory`/`file` into a directory "repair-YYYYMMDD_HHMMSS" in `directory`; nothing ever removes it. Copies
/// of one run share a directory until one of them is there already. True when the copy is on the disk, or there is no
/// file.
bool KeepCopy(const char* directory, const char* file);
/// Keeps all of the files of `directory` in a new one of these directories, or none (errno): by a second name where the
/// file system has such, which takes no space. For files that are going to be removed, not changed.
/// @param mark the name of an empty file that is to lie there too; empty for none
/// @param failed told which file could not be kept; left alone when it was none of them
bool KeepTogether(const std::string& directory, const std::vector<std::string>& files, const std::string& mark = {},
                  std::string* failed = nullptr);
/// Databases of `directory` that are among the copies because a new one of their name was to be made, which was never
/// finished: the directories of the copies, by the names in capitals.
std::map<std::string, std::string> PutAwayIn(const std::string& directory);
/// Where the last copy went; empty before the first one.
const std::string& CopiesDirectory();
/// Lets the next copy begin a new directory.
void BeginCopies();

/// Puts `content` in the place of `directory`/`file` once it is on the disk. False when that fails (errno): the old
/// file stays.
/// @param before called when it is on the disk, before it takes the place; false keeps it from that
bool ReplaceFile(const std::string& directory, const std::string& file, FileBytes content,
                 const std::function<bool()>& before = {});

}  // namespace vorne
