#include "device.h"

#include <dlfcn.h>

#include <filesystem>
#include <sstream>

namespace {

constexpr std::size_t kMostTexts = 9;

// Calls with all of the texts, of which those passed are the first.
template <class... Places>
int callWith(void* function, std::vector<std::string>& texts, Places... places) {
  if (sizeof...(places) == texts.size()) return reinterpret_cast<int (*)(Places...)>(function)(places...);
  if constexpr (sizeof...(places) < kMostTexts)
    return callWith(function, texts, places..., texts[sizeof...(places)].data());
  return 0;
}

}  // namespace

Device::Device(const std::string& name) {
  std::string pattern = std::filesystem::temp_directory_path() / "device-XXXXXX";
  directory_ = mkdtemp(pattern.data());
  const std::string target = path(std::filesystem::path(name).filename());
  std::filesystem::copy_file(DEVICES_DIR + name, target);
  handle_ = dlopen(target.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) ADD_FAILURE() << dlerror();
}

Device::~Device() {
  if (handle_ != nullptr) dlclose(handle_);
  std::filesystem::remove_all(directory_);
}

void* Device::symbol(const std::string& function) const {
  return dlsym(handle_, function.c_str());
}

int Device::callTexts(const std::string& function, std::vector<std::string>& texts) {
  void* const entry = symbol(function);
  if (entry == nullptr || texts.size() > kMostTexts) {
    ADD_FAILURE() << function << " cannot be called";
    return 0;
  }
  return callWith(entry, texts);
}

std::string Device::read(const std::string& function, std::size_t texts, const std::string& given) {
  std::vector<std::string> rooms(texts, std::string(4096, '\0'));
  rooms[0].replace(0, given.size(), given);
  EXPECT_EQ(1, callTexts(function, rooms)) << function;
  return rooms[0].c_str();
}

void Device::run(const std::string& script) {
  std::string divided = script;
  for (std::size_t at; (at = divided.find("; ")) != std::string::npos;) divided.replace(at, 2, "\n");
  std::istringstream lines(divided);
  for (std::string line; std::getline(lines >> std::ws, line);) {
    const std::size_t arrow = line.rfind(" -> ");
    const std::string call = line.substr(0, arrow);
    const std::size_t blank = call.find(' ');
    std::vector<std::string> texts;
    std::string rest = blank == std::string::npos ? "" : call.substr(blank + 1) + "|";
    for (std::size_t end; (end = rest.find('|')) != std::string::npos; rest.erase(0, end + 1)) {
      texts.push_back(rest.substr(0, end));
    }
    ASSERT_EQ(std::stoi(line.substr(arrow + 4)), callTexts(call.substr(0, blank), texts)) << line;
  }
}
