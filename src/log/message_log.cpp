#include "log/message_log.h"

#include <cstdio>
#include <ctime>

#include "runtime/hooks.h"
#include "runtime/internal.h"

using namespace vorne;

namespace {

std::FILE* mlogfile = nullptr;

void closeAtEnd() {
  __CloseMsgLog();
}

/// The log's name at this moment; it changes with the minute, so it is made once a minute.
const char* logName() {
  static char text[64];
  static std::time_t minute = -1;
  const std::time_t now = std::time(nullptr);
  if (now / 60 != minute) {
    minute = now / 60;
    std::tm t{};
    localtime_r(&now, &t);
    // Minute before hour: support tools look for the name in this order.
    std::snprintf(text, sizeof text, "./msglog_%02d%02d%02d%02d%04d.log", t.tm_min, t.tm_hour, t.tm_mday, t.tm_mon + 1,
                  t.tm_year + 1900);
  }
  return text;
}

bool open(const char* mode) {
  mlogfile = std::fopen(logName(), mode);
  if (mlogfile != nullptr) hooks.closeNetwork = closeAtEnd;
  return mlogfile != nullptr;
}

}  // namespace

short __OpenMsgLog(short reopen) {
  if (mlogfile != nullptr) {
    if (reopen == 0) return 1;
    __CloseMsgLog();
    return open("w");
  }
  return open("w+") || open("w");
}

short __CloseMsgLog() {
  if (mlogfile != nullptr) std::fclose(mlogfile);
  mlogfile = nullptr;
  return 1;
}

void __WriteMsgLog(const char* text) {
  if (text == nullptr || __OpenMsgLog(0) == 0) return;
  std::fprintf(mlogfile, "%s\n", text);
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
