#include "sync/application_directory.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "sync/vornesync.h"

namespace tool {

ApplicationDirectory::ApplicationDirectory() {
  std::error_code error;
  std::filesystem::path place = std::filesystem::temp_directory_path(error);
  if (error) place = "/tmp";
  std::string pattern = place / "tellira-sync-XXXXXX";
  if (::mkdtemp(pattern.data()) == nullptr) return;
  path_ = pattern;
  for (const char* name : {"zlibce.dll", "selfinst.exe"}) std::ofstream(path_ + "/" + name);
  SetApplicationDirectory(path_.c_str());
}

ApplicationDirectory::~ApplicationDirectory() {
  SetApplicationDirectory(nullptr);
  std::error_code ignored;
  if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
}

}  // namespace tool
