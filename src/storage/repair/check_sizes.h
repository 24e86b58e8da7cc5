// The sizes that every file's header tells, held against the file.
#pragma once

#include <optional>

#include "storage/repair/data_directory.h"
#include "storage/repair/findings.h"

namespace vorne {

/// The end of what the file uses, when its header can be believed about it: from `least` on, inside the file. A file
/// just made uses its header alone. What is wrong goes to `findings`.
std::optional<std::uint32_t> UsedEnd(const RawFile& file, std::uint32_t least, Findings& findings);

/// The bytes of a repaired file of `used` bytes whose old one had `oldSize`: never smaller than any file is, nor than
/// before.
std::size_t RepairedSize(std::uint64_t used, std::uint64_t oldSize);

}  // namespace vorne
