#include "edge/cli.h"

#include "edge/paths.h"

namespace tool {
namespace {
constexpr char kGuard = '\xFF';  // never part of a UTF-8 text
}

std::string LibraryOptions::libraryPath() const {
  return library.empty() ? defaultLibrary() : absolute(library);
}

std::string LibraryOptions::directoryPath() const {
  return absolute(directory);
}

void addLibraryOptions(CLI::App& verb, LibraryOptions& options) {
  verb.add_option("--lib", options.library, "Library to call (default: ../lib/libtellira.so beside this tool)")
      ->type_name("FILE");
  verb.add_option("--cwd", options.directory, "Directory to work in; vendor libraries are looked for there")
      ->type_name("DIR");
  verb.add_option("--timeout", options.timeoutSeconds, "Seconds to wait for an answer, 1 to 86400 (default: 300)")
      ->type_name("S")
      ->check(CLI::Range(1, 86400));
}

std::string guarded(const std::string& argument) {
  return !argument.empty() && argument.front() == '[' ? kGuard + argument : argument;
}

std::string unguarded(const std::string& argument) {
  return !argument.empty() && argument.front() == kGuard ? argument.substr(1) : argument;
}

}  // namespace tool
