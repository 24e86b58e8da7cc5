#include "sync/verb_synchost.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include "edge/console.h"

namespace tool {
namespace {

constexpr const char* kProgram = "tellira-synchost";

int runHost(const std::vector<std::string>& words) {
  std::error_code ignored;
  const std::string program =
      std::filesystem::read_symlink("/proc/self/exe", ignored).replace_filename(kProgram).string();
  std::vector<char*> arguments{const_cast<char*>(program.c_str())};
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);
  ::execv(program.c_str(), arguments.data());
  throw Failure(kEnded, "the host " + program + " cannot be started: " + std::strerror(errno) +
                            ".\n  next: build or install it beside the tool; it needs libuv and SQLite.");
}

}  // namespace

void addSynchost(Verb& top) {
  auto words = std::make_shared<std::vector<std::string>>();
  Verb verb = top.verb("synchost", "Serve devices that synchronise their tables; `tellira synchost --help` tells more");
  verb.passOn(*words);
  verb.action([words] { return runHost(*words); });
}

}  // namespace tool
