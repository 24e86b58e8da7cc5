// Files that the host installs, in the three steps that a platform with installs wires into FileInstall.
#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "sync/state_lines.h"
#include "sync/vornesync.h"
#include "sync/wire.h"

namespace {

using namespace vorne;

enum Message { kNotCreated = 109, kNothingWritten = 114, kNotFinished = 115 };
constexpr std::string_view kSelfInstaller = "selfinst";

// The self-installer replaces the application, so it stands under its own name at once; every other component waits
// beside its place for the restart.
bool isStaged(const char* path) {
  const char* name = std::strrchr(path, '\\');
  return name != nullptr && ::strncasecmp(name + 1, kSelfInstaller.data(), kSelfInstaller.size()) != 0;
}

bool stage(char* path, std::size_t room) {
  const std::size_t length = std::strlen(path);
  if (length + 2 > room) return false;
  std::memcpy(path + length, "_", 2);
  return true;
}

void tellNotCreated() {
  const std::string_view name(netglb->header.name, ::strnlen(netglb->header.name, sizeof netglb->header.name));
  const std::string line = MessageText(kNotCreated, std::string(name).c_str());
  std::printf("%s", line.c_str());
  DoSetState(line.c_str());
}

}  // namespace

std::uint32_t DoInstallsStart(char* path, std::size_t room) {
  VerifyBuffers();
  netglb->m_appRecordHandle = nullptr;
  netglb->header = {};
  char digits[32];
  ReadString(digits);
  const std::uint32_t size = DecimalIn(digits, INT32_MAX);
  if (path == nullptr || (isStaged(path) && !stage(path, room))) return 0;
  netglb->FInstall = std::fopen(path, "w+b");
  if (netglb->FInstall == nullptr) {
    tellNotCreated();
    return 0;
  }
  netglb->m_appRecordReceived = size;
  return size;
}

std::uint32_t DoInstallsStep() {
  VerifyBuffers();
  char digits[32];
  ReadString(digits);
  const int size = __ExpandBuffer(netglb->m_buffer, 0);
  if (size == 0 || netglb->FInstall == nullptr) {
    if (netglb->m_appRecordReceived == 0) return 1;
    TellMessage(kNothingWritten);
    return 0;
  }
  const auto length = static_cast<std::size_t>(size);
  std::fseek(netglb->FInstall, 0, SEEK_END);
  if (std::fwrite(netglb->m_buffer, 1, length, netglb->FInstall) != length) return 0;
  netglb->m_appRecordReceived -= std::min(netglb->m_appRecordReceived, static_cast<std::uint32_t>(size));
  return static_cast<std::uint32_t>(size);
}

int DoInstallsFinish(int ok) {
  if (netglb == nullptr) return 0;
  if (netglb->FInstall != nullptr) std::fclose(std::exchange(netglb->FInstall, nullptr));
  if (ok == 0) TellMessage(kNotFinished);
  return 0;
}
