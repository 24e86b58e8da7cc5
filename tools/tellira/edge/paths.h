// Where things are: the tool itself, the library beside it, paths a user names.
#pragma once

#include <string>

namespace tool {

/// The absolute path of `relative` counted from the directory of the tool's own file.
std::string besideTool(const std::string& relative);

/// The library a call uses when none is named: ../lib/libtellira.so beside the tool.
std::string defaultLibrary();

/// `path` as an absolute path, counted from `directory` (itself absolute) when it is relative; "." and ".." resolved
/// as text, links left alone.
std::string resolved(const std::string& path, const std::string& directory);

/// `path` counted from the current directory.
std::string absolute(const std::string& path);

}  // namespace tool
