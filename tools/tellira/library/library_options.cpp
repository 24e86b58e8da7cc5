// Paths are made absolute at once: the child that calls the library works in another directory.
#include "library/library_options.h"

#include "edge/paths.h"

namespace tool {

std::string LibraryOptions::libraryPath() const {
  return library.empty() ? defaultLibrary() : absolute(library);
}

std::string LibraryOptions::directoryPath() const {
  return absolute(directory);
}

void addLibraryOptions(Verb& verb, LibraryOptions& options) {
  verb.option("--lib", options.library, "FILE", "Library to call (default: ../lib/libtellira.so beside this tool)");
  verb.option("--cwd", options.directory, "DIR", "Directory to work in; vendor libraries are looked for there");
  verb.option("--timeout", options.timeoutSeconds, "S", "Seconds to wait for an answer, 1 to 86400 (default: 300)", 1,
              86400);
}

}  // namespace tool
