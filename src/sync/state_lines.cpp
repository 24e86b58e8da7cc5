#include "sync/state_lines.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <utility>

#include "log/message_log.h"
#include "runtime/arguments.h"
#include "screen/back_end.h"
#include "storage/databases/tempdb.h"

namespace vorne {

namespace {

constexpr char kMessageTable[] = "MsgLog";
constexpr int kNotStored = 112;

bool isBreak(char c) {
  return c == '\n' || c == '\r';
}
// Those of ISO-8859-1 as well, which terminals obey when they come as UTF-8.
bool isControl(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return byte < 0x20 || (byte >= 0x7F && byte < 0xA0);
}

// The formats are the rows of tables.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
std::string filled(std::string_view format, std::va_list arguments) {
  char room[1024];
  std::vsnprintf(room, sizeof room, format.data(), arguments);
  std::string text = room;
  // As many line breaks as the format has are its own.
  const bool areOwn =
      std::count_if(text.begin(), text.end(), isBreak) == std::count_if(format.begin(), format.end(), isBreak);
  std::replace_if(
      text.begin(), text.end(), [areOwn](char c) { return isControl(c) && !(areOwn && isBreak(c)); }, '?');
  return text;
}
#pragma GCC diagnostic pop

// The table, if there is one, open as long as this lives.
class MessageTable {
 public:
  MessageTable() : db_(FindTemporary(kMessageTable, kList)) {}
  MessageTable(const MessageTable&) = delete;
  MessageTable& operator=(const MessageTable&) = delete;
  ~MessageTable() {
    if (db_ != nullptr) DmCloseDatabase(db_);
  }
  bool isOpen() const { return db_ != nullptr; }
  UInt32 size() const { return DmNumRecords(db_); }
  std::span<const char> at(UInt32 index) const { return RecordBytes(db_, index); }
  void clear() const {
    __InternalZap(db_);
    InterNalPack(db_);
  }

 private:
  DmOpenRef db_;
};

}  // namespace

std::string WithoutControls(std::string text) {
  std::replace_if(text.begin(), text.end(), isControl, '?');
  return text;
}

std::string Filled(SyncText text, ...) {
  std::va_list arguments;
  va_start(arguments, text);
  std::string line = filled(TextOf(text), arguments);
  va_end(arguments);
  return line;
}

void Tell(SyncText text, ...) {
  std::va_list arguments;
  va_start(arguments, text);
  const std::string line = filled(TextOf(text), arguments);
  va_end(arguments);
  DoSetState(line.c_str());
}

std::string MessageText(int message, ...) {
  const std::string format = __GetAuxError(message);
  std::va_list arguments;
  va_start(arguments, message);
  const std::string text = filled(format, arguments);
  va_end(arguments);
  return text;
}

void TellMessage(int message, ...) {
  const std::string format = __GetAuxError(message);
  std::va_list arguments;
  va_start(arguments, message);
  DoSetState(filled(format, arguments).c_str());
  va_end(arguments);
}

void TellNotStored(const std::string& why) {
  TellMessage(kNotStored);
  DoSetState(why.c_str());
}

void ShowProgressOn(int line, Obj_Node* bar, Obj_Node* label, int percent, const char* text) {
  if (bar != nullptr && !IsNil(bar)) __SET_OBJECT(bar, __INIT_DOUBLE(percent));
  if (label != nullptr && !IsNil(label) && text != nullptr) __SET_OBJECT(label, __INIT_CHARPTR(text));
  screen.progress(line, percent, text);
}

void ShowProgress(int line, int percent, const char* text) {
  const bool isFirst = line == 1;
  ShowProgressOn(line, isFirst ? netglb->Meter1 : netglb->Meter2, isFirst ? netglb->Label1 : netglb->Label2, percent,
                 text);
}

void OpenMessageTable() {
  if (netglb->dbLogRef == nullptr) netglb->dbLogRef = OpenTemporary(kMessageTable, kList, IfExists::Keep);
}

void CloseMessageTable() {
  if (netglb != nullptr && netglb->dbLogRef != nullptr) DmCloseDatabase(std::exchange(netglb->dbLogRef, nullptr));
}

int MessageCount() {
  return GetTmpDbQtdRecs(kMessageTable, kList);
}

std::string MessageAt(int line) {
  const MessageTable table;
  const std::span<const char> bytes =
      table.isOpen() && line >= 0 ? table.at(static_cast<UInt32>(line)) : std::span<const char>{};
  return {bytes.data(), bytes.empty() ? 0 : ::strnlen(bytes.data(), bytes.size())};
}

long MessageBytes() {
  const MessageTable table;
  long bytes = 0;
  for (UInt32 i = 0; table.isOpen() && i < table.size(); ++i) bytes += static_cast<long>(table.at(i).size());
  return bytes;
}

void ClearMessages() {
  const MessageTable table;
  if (table.isOpen()) table.clear();
}

}  // namespace vorne

using namespace vorne;

int GetTmpDbQtdRecs(const char* owner, char kind) {
  const DmOpenRef db = owner == nullptr ? nullptr : FindTemporary(owner, kind);
  if (db == nullptr) return 0;
  const auto count = static_cast<int>(DmNumRecords(db));
  DmCloseDatabase(db);
  return count;
}

void DoSetState(const char* text) {
  if (text == nullptr) return;
  __WriteMsgLog(text);
  if (netglb != nullptr && netglb->dbLogRef != nullptr) AppendRecord(netglb->dbLogRef, {text, std::strlen(text) + 1});
  screen.state(text);
}
