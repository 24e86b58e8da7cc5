// A table's changes on their way up: the packets that were made ready in its 'H' database, one frame each, each
// acknowledged. Only then the records count as sent.
#include <algorithm>
#include <cstdio>

#include "storage/databases/tempdb.h"
#include "sync/dirty_marks.h"
#include "sync/session_report.h"
#include "sync/state_lines.h"
#include "sync/vornesync.h"
#include "sync/wire.h"

using namespace vorne;

namespace {

enum Message { kNotRead = 120, kNotSent = 121, kNotAccepted = 122, kSummary = 123 };
enum Status { kUnreadable = 1136, kLineFailed = 1137, kNoAnswer = 1138, kRefused = 1139 };
enum Result { kSent = 0, kHostRefused = 6, kReadFailed = 7, kBroken = 12 };

int fail(int status, int message, int result) {
  netglb->errStatus = status;
  if (message != 0) TellMessage(message);
  return result;
}

int sendPacket(DmOpenRef packets, UInt32 index, int socket, TableReport& report) {
  const Bytes packet = RecordBytes(packets, index);
  if (packet.empty() || packet.size() > kLargestFrame) return fail(kUnreadable, kNotRead, kReadFailed);
  Reset();
  std::copy(packet.begin(), packet.end(), netglb->m_buffer);
  if (WriteExact(socket, netglb->m_buffer, static_cast<int>(packet.size()), 1) == 0)
    return fail(kLineFailed, kNotSent, kBroken);
  if (ReadSock(netglb->m_buffer, socket) == 0) return fail(kNoAnswer, 0, kBroken);
  std::uint8_t status = 0;
  ReadByte(&status);
  if (status == kDone) {
    if (const auto told = ParseSent(packet)) report.sent += told->records;
    report.bytes += packet.size();
    return kSent;
  }
  std::printf("%s", TextOf(SyncText::SendFailed));
  return fail(kRefused, kNotAccepted, kHostRefused);
}

}  // namespace

int TableFromHHToHost(const char* name, int socket) {
  VerifyBuffers();
  const DmOpenRef packets = FindTemporary(name, kPacketsToSend);
  if (packets == nullptr) {
    netglb->errStatus = 0;
    return kSent;
  }
  const UInt32 count = DmNumRecords(packets);
  if (count == 0) {
    DmCloseDatabase(packets);
    DeleteTemporary(name, kPacketsToSend);
    Tell(SyncText::NothingToSend, name);
    return kSent;
  }
  Tell(SyncText::SendingRecords, name, static_cast<int>(count));
  ShowProgress(2, 0, Filled(SyncText::SendingTable, name).c_str());

  int result = kSent;
  UInt32 sent = 0;
  for (; sent < count && result == kSent; ++sent) {
    result = sendPacket(packets, sent, socket, ReportOf(name));
    if (result != kSent) break;
    ShowProgress(2, static_cast<int>(100.0 * (sent + 1) / count), nullptr);
  }
  if (result == kSent) {
    // The marks before the packets go: a kill in between leaves the note by which the next session goes on.
    Tell(SyncText::MarkingSent, name);
    NoteTaken(packets);
    ClearDirtyMarks(name, kPrepared);
    __InternalZap(packets);
  } else {
    TellMessage(kSummary, netglb->errStatus, static_cast<int>(sent), static_cast<int>(count), name);
  }
  DmResetRecordStates(packets);
  DmCloseDatabase(packets);
  return result;
}
