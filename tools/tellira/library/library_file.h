// Why a shared library cannot be loaded, read from the file itself.
#pragma once

#include <string>

namespace tool {

/// A sentence that says why the library at an absolute path cannot be loaded by this program: it does not exist, is no
/// regular file, cannot be read, is no ELF file, has the wrong word size, is for another processor. Empty when nothing
/// of that kind is wrong with the file.
std::string loadProblem(const std::string& path);

/// "64-bit" or "32-bit": this program.
std::string ownWordSize();

}  // namespace tool
