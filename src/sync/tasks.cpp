// The host's tasks: how many there are, and each fetched by its number and done.
#include <algorithm>
#include <cstdio>
#include <iterator>
#include <string>

#include "builtins/new_text.h"
#include "sync/catalog_tables.h"
#include "sync/missing_records.h"
#include "sync/received_tables.h"
#include "sync/session_globals.h"
#include "sync/state_lines.h"
#include "sync/system.h"
#include "sync/tasks.h"
#include "sync/vornesync.h"
#include "sync/wire.h"

using namespace vorne;

namespace {

enum Status {
  kCountNotSent = 1116,
  kNoCount = 1117,
  kTaskRefused = 1118,
  kNoTask = 1142,
  kUnknownTask = 1148,
  kTaskNotSent = 1162,
};
constexpr int kRestart = 9999;
constexpr int kAttempts = 3;
constexpr unsigned kAttemptPause = 30;  // microseconds
constexpr std::uint8_t kTypeFollows = 16;

int receiveTable(const Task& task, int socket) {
  netglb->m_state_oper = 1;
  return TableFromHostToHH(task.name.c_str(), socket, task.records, task.type);
}
int sendTable(const Task& task, int socket) {
  netglb->m_state_oper = 2;
  // A host that asks for a table which its catalogue here does not name takes that for another one.
  if (CatalogTableRecords() != 0 && !IsReceivedTable(kTableCatalog) && !IsCatalogued(task.name)) NoteMissing(task.name);
  return TableFromHHToHost(task.name.c_str(), socket);
}
int deleteTable(const Task& task, int) {
  if (bNewSync != 0) return 0;
  netglb->m_state_oper = 3;
  Op_DeleteTbl(task.name.c_str());
  return 0;
}
int install(const Task&, int socket) {
  return FileInstall(socket);
}
int nothing(const Task&, int) {
  return 0;
}
int receiveImages(const Task&, int socket) {
  return ReceiveBmp(socket);
}

struct Operation {
  std::uint8_t code;
  bool isTableWork;  // not done while the application has to start again
  bool mayHaveType;  // one type byte instead of the name, when the flag says so
  bool hasCount;
  int (*run)(const Task& task, int socket);
};
constexpr Operation kOperations[] = {
    {1, true, false, true, receiveTable},    {2, true, false, false, sendTable}, {3, true, false, false, deleteTable},
    {10, false, true, false, install},       {22, false, true, false, install},  {30, false, false, false, nothing},
    {40, false, true, false, receiveImages},
};

const Operation* operationOf(std::uint8_t code) {
  const auto* found = std::find_if(std::begin(kOperations), std::end(kOperations),
                                   [code](const Operation& operation) { return operation.code == code; });
  return found == std::end(kOperations) ? nullptr : found;
}

Task readOperands(const Operation* operation, std::uint8_t code, std::uint8_t flag) {
  Task task = {code, {}, 0, 'P'};
  std::uint8_t type = 0;
  if (operation != nullptr && operation->mayHaveType && flag == kTypeFollows) {
    ReadByte(&type);
    task.type = static_cast<char>(type);
    return task;
  }
  char name[kNetTextRoom];
  ReadString(name);
  task.name = name;
  if (operation != nullptr && operation->hasCount) {
    task.records = ReadLong();
    ReadByte(&type);
    if (type != 0) task.type = static_cast<char>(type);
  }
  return task;
}

bool requestTask(int n, int socket) {
  char number[16];
  std::snprintf(number, sizeof number, "%d", n);
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    Reset();
    WriteUShort(1);
    WriteByte(static_cast<std::uint8_t>(Request::FetchTask));
    WriteString(number);
    if (WriteExact(socket, netglb->m_buffer, netglb->bIndex, 1) != 0) return true;
    networkSystem.pause(kAttemptPause);
  }
  return false;
}

}  // namespace

int TaskCount(int socket) {
  Tell(SyncText::AskingTasks);
  Reset();
  WriteUShort(1);
  WriteByte(static_cast<std::uint8_t>(Request::CountTasks));
  if (WriteExact(socket, netglb->m_buffer, netglb->bIndex, 1) == 0) {
    netglb->errStatus = kCountNotSent;
    return 0;
  }
  if (ReadSock(netglb->m_buffer, socket) == 0) {
    netglb->errStatus = kNoCount;
    return 0;
  }
  // Hosts put the status byte in front, which a reader of digits takes for a blank; some leave it out.
  char count[32];
  ReadString(count);
  return static_cast<int>(DecimalIn(count, INT16_MAX));
}

int vorne::FetchTask(int n, int socket, Task& task) {
  netglb->errStatus = kTaskNotSent;
  if (!requestTask(n, socket)) {
    std::snprintf(S_GLOB->mTmp, kScratchSize, "%s", Filled(SyncText::TaskNotSent, n + 1).c_str());
    return 1;
  }
  netglb->errStatus = 0;
  if (ReadSock(netglb->m_buffer, socket) == 0) {
    netglb->errStatus = kNoTask;
    return 1;
  }
  std::uint8_t status = 0, code = 0, flag = 0;
  ReadByte(&status);
  if (status != kDone) {
    // Support's tables of these lines begin with task 2, and have the backslash and the n.
    Tell(SyncText::TaskRefused, n + 1, static_cast<unsigned>(status));
    netglb->errStatus = kTaskRefused;
    return kTaskRefused;
  }
  ReadByte(&code);
  ReadByte(&flag);
  const Operation* operation = operationOf(code);
  if (bRestart != 0 && operation != nullptr && operation->isTableWork) return kRestart;
  task = readOperands(operation, code, flag);
  return 0;
}

int TaskExecute(int n, int socket) {
  Task task = {};
  if (const int failed = FetchTask(n, socket, task)) return failed;
  if (const Operation* operation = operationOf(task.code)) return operation->run(task, socket);
  netglb->errStatus = kUnknownTask;
  return 1;
}

int FileInstall(int) {
  return 0;
}

void GetMyVersion(char*) {}

Obj_Node* GETVER() {
  *S_GLOB->mTmp = 0;
  GetMyVersion(S_GLOB->mTmp);
  return __INIT_CHARPTR(S_GLOB->mTmp);
}
