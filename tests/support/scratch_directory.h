// A working directory of a test's own, gone when the test ends.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#ifdef __SANITIZE_ADDRESS__
inline constexpr bool kSlow = true;
#else
inline constexpr bool kSlow = false;
#endif

class ScratchDirectory {
 public:
  ScratchDirectory() : before_(std::filesystem::current_path()) {
    std::string name = std::filesystem::temp_directory_path() / "scratch-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) ADD_FAILURE() << "no directory of our own: " << name;
    path_ = name;
    std::filesystem::current_path(path_);
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::current_path(before_, ignored);
    std::filesystem::remove_all(path_, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path before_, path_;
};

/// A file's bytes; empty when there is none.
inline std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The parts of "one|two|three".
inline std::vector<std::string> split(const std::string& text, char between = '|') {
  std::vector<std::string> all;
  std::istringstream stream(text);
  for (std::string one; std::getline(stream, one, between);) all.push_back(one);
  return all;
}

inline void writeFile(const std::filesystem::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}
