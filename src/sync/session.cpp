// The course of a session.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "builtins/vornefun.h"
#include "runtime/arguments.h"
#include "runtime/local_clock.h"
#include "screen/vornewin.h"
#include "storage/databases/tempdb.h"
#include "storage/tables.h"
#include "sync/catalog_tables.h"
#include "sync/config.h"
#include "sync/received_tables.h"
#include "sync/session_globals.h"
#include "sync/session_report.h"
#include "sync/state_lines.h"
#include "sync/wire.h"

using namespace vorne;

namespace {

constexpr char kSyncDate[] = "sync_date";
constexpr char kNeverSynchronised[] = "19900101";
constexpr std::size_t kDateDigits = 8;
constexpr int kRestartResult = 9999;

enum Message { kDisconnecting = 97, kStatus = 98 };
enum Status { kNotConnected = 1108 };
/// What CONNECT returns beside the session's codes.
enum ConnectResult { kWell = 0, kUnknownUser = 2, kNoSettings = 7, kBadClient = 8 };
enum SessionResult { kAllDone = 0, kFailed = 1, kNotApplied = 2 };

void show(int line, int percent, SyncText text) {
  ShowProgress(line, percent, TextOf(text));
}

std::string timeText() {
  return __Time()->objData.mbuff;
}

std::string dateText() {
  char text[16];
  const std::tm now = LocalNow();
  std::strftime(text, sizeof text, "%d/%m/%Y", &now);
  return text;
}

bool hasParameters() {
  return netglb->m_ip[0] != 0;
}

bool hasCatalogue() {
  return DmFindDatabase(0, TextIn(ng->VRN_TBL_NAME)) != 0 && DmFindDatabase(0, TextIn(ng->IND_NAME)) != 0;
}

// The tasks in their order until one fails; the code, 0 for none.
void runTasks(int socket) {
  const int count = TaskCount(socket);
  if (netglb->errStatus != 0) return;
  Tell(SyncText::TaskTotal, count);
  ShowProgress(2, 0, nullptr);
  int result = 0;
  for (int n = 1; n <= count && result == 0; ++n) {
    result = TaskExecute(n, socket);
    if (result == 0) ShowProgress(2, 100 * n / count, nullptr);
  }
  if (result == kRestartResult) {
    std::printf("%s\n", TextOf(SyncText::RestartNeeded));
    netglb->errStatus = 0;
  } else if (result != 0) {
    netglb->bFalhaSendReceive = 1;
    Tell(SyncText::TaskFailed, netglb->errStatus);
  }
}

void noteSyncDate() {
  const DmOpenRef dates = OpenTemporary(kSyncDate, kList, IfExists::Keep);
  if (dates == nullptr) return;
  const std::string today = __Dtos(__Date())->objData.mbuff;
  const std::span<const char> bytes(today.c_str(), today.size() + 1);
  // The newest is the first; written over where there is one, so that a kill leaves one of the two.
  if (DmNumRecords(dates) == 0)
    AppendRecord(dates, bytes);
  else
    StoreRecord(dates, 0, bytes);
  DmResetRecordStates(dates);
  DmCloseDatabase(dates);
}

// What earlier sessions have left half-way, before anything new comes. True when tables may have changed by it: a
// packet made before would give the host a value that its own, newer one has just replaced here.
bool checkPartial() {
  const bool hasReceived = HasReceivedTables();
  show(1, 30, SyncText::Checking);
  show(2, 30, SyncText::CheckingPartial);
  ng->Verification = 1;
  if (ReadFromHH() != 0) DeleteTemporary(kReceivedTables, kList);
  ng->Verification = 0;
  return hasReceived;
}

bool clearSentMarks() {
  if (OpenToHostArea() == 0) return false;
  const bool cleared = DeleteToHostTables() != 0;
  if (!cleared) show(1, 60, SyncText::DirtyFailed);
  return cleared;
}

bool applyReceived() {
  show(1, 75, SyncText::OfflineTables);
  const bool applied = ReadFromHH() != 0;
  if (applied) DeleteTemporary(kReceivedTables, kList);
  StopSessionClock(ng->TmpOnBatch);
  return applied;
}

void logTimes() {
  std::string line = Filled(SyncText::OnlineTime, TextIn(ng->TmpOnLine));
  if (ng->TmpOnLine != nullptr && ng->TmpOnBatch != nullptr) {
    line += Filled(SyncText::OfflineTime, TextIn(ng->TmpOnBatch));
    ShowProgress(2, 100, Filled(SyncText::BothTimes, TextIn(ng->TmpOnLine), TextIn(ng->TmpOnBatch)).c_str());
  }
  DoSetState(line.c_str());
}

void logEnd(const std::string& startDate) {
  Tell(SyncText::End, timeText().c_str(), startDate.c_str());
}

bool wantsToReconnect() {
  return IsTrue(__MsgYesNo(__INIT_CHARPTR(TextOf(SyncText::ReconnectQuestion)),
                           __INIT_CHARPTR(TextOf(SyncText::ReconnectTitle))));
}

// One session of the screen; true when it is over, false when the user wants another one.
bool runOnce(Obj_Node* bar1, Obj_Node* label1, Obj_Node* bar2, Obj_Node* label2) {
  netglb->Meter1 = bar1;
  netglb->Label1 = label1;
  netglb->Meter2 = bar2;
  netglb->Label2 = label2;
  const std::string date = dateText();
  DoSetState((Filled(SyncText::Start, timeText().c_str()) + date).c_str());
  show(1, 1, SyncText::Starting);
  ShowProgress(2, 0, " ");

  const int result = DoSyncronize(__Time(), bar1, label1, bar2, label2);
  NoteSessionResult(result);
  logTimes();
  Tell(SyncText::SessionResult, result, netglb->errStatus);
  if (netglb->errStatus == 0 && (result == kAllDone || result == kNotApplied)) {
    show(1, 100, SyncText::Finished);
    logEnd(date);
    return true;
  }
  const std::string told = Filled(SyncText::ConnectionError, netglb->errStatus);
  ShowProgress(1, 100, told.c_str());
  const bool again = wantsToReconnect();
  logEnd(date);
  return !again;
}

int connectWith(const UserSettings& settings, Obj_Node* bar1, Obj_Node* label1, Obj_Node* bar2, Obj_Node* label2) {
  const bool given = hasParameters();
  if (bNewSync == 0 && !OpenCatalogTables()) return kBadClient;
  const int port = given ? netglb->m_porta : static_cast<int>(DecimalIn(settings.port, 1 << 20));
  const int timeout = given ? netglb->m_timeout : static_cast<int>(DecimalIn(settings.timeout, kLongestTimeout));
  return DoSync(given ? netglb->m_ip : settings.host.c_str(), port, given ? netglb->m_grupo : settings.user.c_str(),
                settings.deviceType.c_str(), netglb->m_serial, timeout, bar1, label1, bar2, label2);
}

}  // namespace

Obj_Node* __INITSYNC(Obj_Node* bar1, Obj_Node* label1, Obj_Node* bar2, Obj_Node* label2) {
  VerifyBuffers();
  __VerifyNgGlb();
  __ReleaseStack();
  __dbCloseAll();
  __begin_context();
  while (!runOnce(bar1, label1, bar2, label2)) {
  }
  CloseCatalogTables();
  __end_context(nullptr);
  return __INIT_NIL();
}

int DoSyncronize(Obj_Node* start, Obj_Node* bar1, Obj_Node* label1, Obj_Node* bar2, Obj_Node* label2) {
  bool prepared = false;
  if (bNewSync == 0) {
    if (hasCatalogue()) {
      show(1, 15, SyncText::Organising);
      if (BatchUpload() == 0) return kFailed;
      prepared = true;
    }
    if (checkPartial() && hasCatalogue()) prepared = BatchUpload() != 0;
  }
  show(1, 45, SyncText::Communicating);
  StartSessionClock();
  const int connected = CONNECT(start, bar1, label1, bar2, label2);
  StopSessionClock(ng->TmpOnLine);
  ShowProgress(1, 46, std::string(40, ' ').c_str());
  ng->ConnErr = static_cast<Boolean>(connected);
  show(1, 60, SyncText::Offline);
  StartSessionClock();
  if (bNewSync == 0) {
    if (prepared && connected == kWell && S_GLOB->bRestart == 0 && netglb->errStatus == 0) clearSentMarks();
    if (!applyReceived()) return kNotApplied;
  }
  if (connected == kWell) return kAllDone;
  Tell(SyncText::ConnectResult, connected);
  ErrCONN(connected, bar1, label1, 100);
  return kFailed;
}

int CONNECT(Obj_Node*, Obj_Node* bar1, Obj_Node* label1, Obj_Node* bar2, Obj_Node* label2) {
  UserSettings settings;
  if (!hasParameters()) {
    const SettingsFound found = ReadSettings(settings);
    if (found == SettingsFound::NoTable) {
      ErrCONN(kUnknownUser, bar1, label1, 45);
      return kUnknownUser;
    }
    if (found == SettingsFound::CannotOpen) return kNoSettings;
  }
  const int status = connectWith(settings, bar1, label1, bar2, label2);
  if (status != 0) return status;
  if (bNewSync == 0 && VerifyConsistent() == 0 && VerifyTpdaConsistent() == 0) {
    Tell(SyncText::NoCatalogue);
    return kBadClient;
  }
  noteSyncDate();
  return kWell;
}

int DoSync(const char* address, int port, const char* group, const char* deviceType, const char* device, int timeout,
           Obj_Node* bar1, Obj_Node* label1, Obj_Node* bar2, Obj_Node* label2) {
  VerifyBuffers();
  bRestart = 0;
  S_GLOB->bRestart = 0;
  netglb->errStatus = 0;
  netglb->m_timeout = std::max(netglb->m_timeout, timeout);
  netglb->Meter1 = bar1;
  netglb->Label1 = label1;
  netglb->Meter2 = bar2;
  netglb->Label2 = label2;
  int socket = 0;
  long comm = 0;
  if (port < 1 || port > 65535 || netglb->m_timeout < 0) {
    netglb->errStatus = kNotConnected;
  } else if (Connect(address, static_cast<UInt16>(port), &socket, &comm, group, deviceType, device, 0) == 0) {
    runTasks(socket);
    TellMessage(kDisconnecting);
    Disconnect(comm, &socket);
  }
  if (netglb->errStatus != 0)
    TellMessage(kStatus, netglb->errStatus);
  else
    S_GLOB->bRestart = bRestart;
  return netglb->errStatus;
}

void ErrCONN(int code, Obj_Node* bar, Obj_Node* label, int percent) {
  static constexpr struct {
    int code;
    SyncText text;
  } kTexts[] = {{1, SyncText::BadAnswer},
                {kUnknownUser, SyncText::UnknownUser},
                {kNoSettings, SyncText::NoSettings},
                {1111, SyncText::TimedOut}};
  std::string text = TextOf(SyncText::TryAgain);
  if (code == kBadClient) text = std::string(TextOf(SyncText::CallSupport)) + TextOf(SyncText::BadClient);
  for (const auto& row : kTexts)
    if (row.code == code) text = TextOf(row.text);
  ShowProgressOn(1, bar, label, percent, text.c_str());
  DoSetState(text.c_str());
}

Obj_Node* SYNCDATE() {
  const DmOpenRef dates = FindTemporary(kSyncDate, kList);
  if (dates == nullptr) return __INIT_CHARPTR(kNeverSynchronised);
  const std::span<const char> bytes = RecordBytes(dates, 0);
  const std::string date(bytes.data(),
                         bytes.empty() ? 0 : ::strnlen(bytes.data(), std::min<std::size_t>(bytes.size(), 9)));
  DmCloseDatabase(dates);
  return __INIT_CHARPTR(date.size() < kDateDigits ? kNeverSynchronised : date.c_str());
}

Obj_Node* __SyncDate() {
  return SYNCDATE();
}
