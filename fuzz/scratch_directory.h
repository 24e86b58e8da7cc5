// A directory of the process's own, in memory where there is such a place, gone when the process ends.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

/// Makes it the working directory, and keeps the library's own words from burying the fuzzer's.
inline void enterScratchDirectory() {
  static std::string directory = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::filesystem::temp_directory_path();
  directory += "/tellira-fuzz-XXXXXX";
  if (mkdtemp(directory.data()) == nullptr || std::freopen("/dev/null", "w", stdout) == nullptr) std::abort();
  std::filesystem::current_path(directory);
  std::atexit([] { std::filesystem::remove_all(directory); });
}
