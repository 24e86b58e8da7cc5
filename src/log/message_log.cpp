#include "log/message_log.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <string_view>
#include <utility>

#include "runtime/arguments.h"
#include "runtime/hooks.h"
#include "runtime/local_clock.h"

using namespace vorne;

namespace {

std::FILE* ownPlace = nullptr;
std::FILE** place = &ownPlace;
bool isOff = false;

void closeAtEnd() {
  __CloseMsgLog();
}

/// The log's name at this moment. It changes with the minute and with the zone that the host sets, so it is made anew
/// only then.
const char* logName() {
  static char text[64];
  static std::time_t minute = -1;
  static std::string zone;
  const std::time_t now = std::time(nullptr);
  const char* set = std::getenv("TZ");
  const std::string_view wanted = set == nullptr ? "" : set;
  if (now / 60 != minute || zone != wanted) {
    minute = now / 60;
    zone = wanted;
    const std::tm t = LocalNow();
    // Minute before hour: support tools look for the name in this order.
    std::snprintf(text, sizeof text, "./msglog_%02d%02d%02d%02d%04d.log", t.tm_min, t.tm_hour, t.tm_mday, t.tm_mon + 1,
                  t.tm_year + 1900);
  }
  return text;
}

// In a host that has closed its standard streams the log would get the number of one, and what is printed would go
// there.
std::FILE* openBesideStreams(const char* mode) {
  std::FILE* file = std::fopen(logName(), mode);
  if (file == nullptr || ::fileno(file) > STDERR_FILENO) return file;
  const int moved = ::fcntl(::fileno(file), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  std::fclose(file);
  return moved < 0 ? nullptr : ::fdopen(moved, mode);
}

bool open(const char* mode) {
  *place = openBesideStreams(mode);
  if (*place != nullptr) hooks.closeMessageLog = closeAtEnd;
  return *place != nullptr;
}

}  // namespace

void vorne::KeepMessageLogIn(std::FILE** kept) {
  if (kept == nullptr) kept = &ownPlace;
  if (kept == place) return;
  *kept = std::exchange(*place, nullptr);
  place = kept;
}

vorne::NoMessageLog::NoMessageLog() {
  isOff = true;
}
vorne::NoMessageLog::~NoMessageLog() {
  isOff = false;
}

short __OpenMsgLog(short reopen) {
  if (isOff) return 0;
  if (*place != nullptr) {
    if (reopen == 0) return 1;
    __CloseMsgLog();
    return open("w");
  }
  // A log that may be written but not read is opened all the same.
  return open("w+") || open("w");
}

short __CloseMsgLog() {
  if (*place != nullptr) std::fclose(*place);
  *place = nullptr;
  return 1;
}

void __WriteMsgLog(const char* text) {
  if (text == nullptr || __OpenMsgLog(0) == 0) return;
  std::fprintf(*place, "%s\n", text);
}

void WRITELOG(Obj_Node* value) {
  if (value == nullptr || IsNil(value)) return;
  if (!HasText(value)) ArgumentError();
  __WriteMsgLog(value->objData.mbuff);
}

int __GetAmnRecsMsgLog() {
  __OpenMsgLog(0);
  return hooks.messageRecords == nullptr ? 0 : hooks.messageRecords();
}

short __ReadMsgLog(int /*index*/, char* /*buffer*/) {
  return 0;
}
