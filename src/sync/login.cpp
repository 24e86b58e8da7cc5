// The login and the farewell.
#include <bit>
#include <cstdio>
#include <cstring>

#include "screen/back_end.h"
#include "sync/catalog_tables.h"
#include "sync/missing_records.h"
#include "sync/session_globals.h"
#include "sync/state_lines.h"
#include "sync/system.h"
#include "sync/vornesync.h"
#include "sync/wire.h"

using namespace vorne;

namespace {

constexpr char kProtocol[] = "33";
constexpr char kRuntimeVersion[] = "6.0.0";
constexpr std::uint8_t kWantsAll = 'T';
constexpr std::size_t kShownRefusal = 15;  // a refusal's text of more characters is for the user

enum Message {
  kNoHandle = 100,
  kNoConnection = 101,
  kNoMemory = 102,
  kLoggingIn = 103,
  kRefused = 104,
  kOtherVersion = 105
};
enum Status {
  kHandleTooLarge = 1107,
  kNotConnected = 1108,
  kLoginNotSent = 1109,
  kNoReply = 1110,
  kLoginRefused = 1111,
  kVersionDiffers = 1113,
  kNoBuffers = 1143,
};
constexpr long kLargestCommHandle = 10;

std::uint8_t modeByte(bool remoteCall) {
  if (bNewSync != 0) return 'P';
  if (remoteCall || CatalogTableRecords() == 0) return kWantsAll;
  const std::string table = MissingTable();
  if (table.empty()) return 'P';
  Tell(SyncText::AllWanted, table.c_str());
  return kWantsAll;
}

void buildLogin(const char* group, const char* device, bool remoteCall, std::uint8_t mode) {
  Reset();
  WriteUShort(1);
  WriteByte(static_cast<std::uint8_t>(Request::Login));
  WriteString(bswapnum != 0 ? "B" : "L");
  WriteString(kProtocol);
  WriteString(device);
  WriteString(group);
  WriteByte(static_cast<std::uint8_t>(GetProcessorType()));
  WriteByte(mode);
  WriteString(kRuntimeVersion);
  WriteString(__Memory());
  WriteString(ng == nullptr || ng->bHasZlib != 0 ? "ZLIBON" : "ZLIBOFF");
  WriteString("SETBUFFER");
  WriteString(GETVER()->objData.mbuff);
  WriteString(remoteCall ? "RPC_ON" : "RPC_OFF");
}

// Errno-like: 0, or the code of what the reply lacks, told already.
int takeReply() {
  char text[kNetTextRoom];
  std::uint8_t status = 0, type = 0, last = 0;
  ReadByte(&status);
  if (status != kDone) {
    ReadString(text);
    if (std::strlen(text) > kShownRefusal) {
      const std::string words = WithoutControls(text);
      DoSetState(words.c_str());
      std::printf("%s\n", words.c_str());
    }
    TellMessage(kRefused);
    return kLoginRefused;
  }
  ReadString(text);
  ReadByte(&type);
  netglb->bServerTp = type == 'd';
  if (*text != 0 && std::strncmp(text, kRuntimeVersion, sizeof kRuntimeVersion) != 0) {
    TellMessage(kOtherVersion, kRuntimeVersion, text);
    return kVersionDiffers;
  }
  ReadByte(&last);
  netglb->bPackDB = last == kMarksPackDatabase;
  return 0;
}

int logIn(int socket, const char* group, const char* device, bool remoteCall) {
  if (netglb->m_buffer == nullptr || netglb->m_compact == nullptr) {
    TellMessage(kNoMemory);
    return kNoBuffers;
  }
  TellMessage(kLoggingIn);
  const std::uint8_t mode = modeByte(remoteCall);
  buildLogin(group, device, remoteCall, mode);
  if (WriteExact(socket, netglb->m_buffer, netglb->bIndex, 1) == 0) return kLoginNotSent;
  if (ReadSock(netglb->m_buffer, socket) == 0) return kNoReply;
  const int status = takeReply();
  if (status == 0 && mode == kWantsAll) ForgetMissing();
  return status;
}

int open(const char* host, UInt16 port, int* socket, const long* comm) {
  DoSetState(__Memory());
  Tell(SyncText::Beginning);
  if (comm != nullptr && *comm > kLargestCommHandle) {
    TellMessage(kNoHandle);
    return kHandleTooLarge;
  }
  Tell(SyncText::Connecting);
  if (OpenSocket(host, port, socket) == 1) return 0;
  netglb->bFalhaSendReceive = 1;
  if (netglb->errStatus != 0) return netglb->errStatus;
  TellMessage(kNoConnection, host, static_cast<int>(port));
  return kNotConnected;
}

void sayFarewell(int socket) {
  const int timeout = netglb->m_timeout;
  Reset();
  WriteUShort(1);
  WriteByte(static_cast<std::uint8_t>(Request::Farewell));
  Tell(SyncText::SendingBye);
  netglb->m_timeout = timeout / 4;
  // A session that did all its work is no failure because the last word did not get through.
  if (WriteExact(socket, netglb->m_buffer, netglb->bIndex, 1) == 0) netglb->errStatus = 0;
  netglb->m_timeout = timeout;
}

}  // namespace

int Connect(const char* host, UInt16 port, int* socket, long* comm, const char* group, const char*, const char* device,
            short remoteCall) {
  VerifyBuffers();
  *socket = 0;
  Reset();
  __SwapBytes();
  DoCommInterfaceOpen(comm);
  int status = open(host, port, socket, comm);
  if (status == 0) {
    StartSessionClock();
    status = logIn(*socket, group, device, remoteCall != 0);
  }
  if (status == 0) return 0;
  netglb->errStatus = status;
  Disconnect(comm == nullptr ? 0 : *comm, socket);
  return 1;
}

int Disconnect(long comm, int* socket) {
  Tell(SyncText::Disconnecting);
  const bool isWell = netglb->errStatus == 0;
  if (isWell) sayFarewell(*socket);
  Tell(SyncText::Disconnecting);
  screen.information(TextOf(SyncText::Disconnecting));
  const int pause = netglb->m_timeout / 5;
  networkSystem.pause(static_cast<unsigned>(pause < 5 || pause > 8 ? 5 : pause) * 1000);
  CloseSocket(socket);
  DoCommInterfaceClose(comm);
  Tell(SyncText::Disconnected);
  screen.information("");
  return isWell ? 0 : 1;
}

int GetProcessorType() {
  return 0;
}
