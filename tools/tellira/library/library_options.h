// The options of every verb that calls the library.
#pragma once

#include <chrono>
#include <string>

#include "edge/cli.h"

namespace tool {

struct LibraryOptions {
  std::string library;
  std::string directory = ".";
  int timeoutSeconds = 300;

  /// Absolute path of the library that is meant.
  std::string libraryPath() const;
  /// Absolute path of the working directory.
  std::string directoryPath() const;
  std::chrono::seconds timeout() const { return std::chrono::seconds(timeoutSeconds); }
};

/// Adds --lib, --cwd and --timeout to a verb.
void addLibraryOptions(Verb& verb, LibraryOptions& options);

}  // namespace tool
