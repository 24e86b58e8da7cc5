#include "sync/state_lines.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "log/message_log.h"
#include "runtime/arguments.h"
#include "runtime/hooks.h"
#include "screen/back_end.h"
#include "storage/databases/tempdb.h"

namespace vorne {

namespace {

constexpr char kMessageTable[] = "MsgLog";

std::string filled(const char* format, std::va_list arguments) {
  char text[1024];
  std::vsnprintf(text, sizeof text, format, arguments);
  return text;
}

int messagesKept() {
  const DmOpenRef table = FindTemporary(kMessageTable, kList);
  if (table == nullptr) return 0;
  const auto count = static_cast<int>(DmNumRecords(table));
  DmCloseDatabase(table);
  return count;
}

}  // namespace

void TellState(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  DoSetState(filled(format, arguments).c_str());
  va_end(arguments);
}

std::string MessageText(int message, ...) {
  const std::string format = __GetAuxError(message);
  std::va_list arguments;
  va_start(arguments, message);
  const std::string text = filled(format.c_str(), arguments);
  va_end(arguments);
  return text;
}

void TellMessage(int message, ...) {
  const std::string format = __GetAuxError(message);
  std::va_list arguments;
  va_start(arguments, message);
  DoSetState(filled(format.c_str(), arguments).c_str());
  va_end(arguments);
}

void ShowProgressOn(Obj_Node* bar, Obj_Node* label, int percent, const char* text) {
  if (bar != nullptr && !IsNil(bar)) __SET_OBJECT(bar, __INIT_DOUBLE(percent));
  if (label != nullptr && !IsNil(label) && text != nullptr) __SET_OBJECT(label, __INIT_CHARPTR(text));
}

void ShowProgress(int line, int percent, const char* text) {
  if (netglb != nullptr) {
    if (line == 1)
      ShowProgressOn(netglb->Meter1, netglb->Label1, percent, text);
    else
      ShowProgressOn(netglb->Meter2, netglb->Label2, percent, text);
  }
  screen.progress(line, percent, text);
}

void OpenMessageTable() {
  hooks.messageRecords = messagesKept;
  if (netglb->dbLogRef == nullptr) netglb->dbLogRef = OpenTemporary(kMessageTable, kList, IfExists::Keep);
}

void CloseMessageTable() {
  if (netglb != nullptr && netglb->dbLogRef != nullptr) DmCloseDatabase(std::exchange(netglb->dbLogRef, nullptr));
}

}  // namespace vorne

using namespace vorne;

void DoSetState(const char* text) {
  if (text == nullptr) return;
  __WriteMsgLog(text);
  if (netglb != nullptr && netglb->dbLogRef != nullptr) AppendRecord(netglb->dbLogRef, {text, std::strlen(text) + 1});
  screen.state(text);
}
