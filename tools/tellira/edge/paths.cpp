// Paths are put together as texts: what they lead to may not be there yet.
#include "edge/paths.h"

#include <filesystem>
#include <system_error>

namespace tool {

namespace fs = std::filesystem;

std::string besideTool(const std::string& relative) {
  std::error_code error;
  // By the running file, not by how it was called: a link to the tool finds the library that lies beside it.
  const fs::path self = fs::read_symlink("/proc/self/exe", error);
  return (self.parent_path() / relative).lexically_normal().string();
}

std::string defaultLibrary() {
  return besideTool("../lib/libtellira.so");
}

std::string resolved(const std::string& path, const std::string& directory) {
  std::string whole = (fs::path(directory) / path).lexically_normal().string();
  if (whole.size() > 1 && whole.ends_with('/')) whole.pop_back();
  return whole;
}

std::string absolute(const std::string& path) {
  std::error_code error;
  const fs::path here = fs::current_path(error);
  return error ? path : resolved(path, here.string());
}

}  // namespace tool
