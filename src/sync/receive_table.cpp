// A table on its way down: its packets go as they come into the table's 'P' database, whose record 0 tells how far that
// got. They are applied later, so the line is held no longer than it must be.
#include <cstring>
#include <optional>
#include <string>
#include <utility>

#include "storage/databases/tempdb.h"
#include "storage/files/mapped_file.h"
#include "sync/catalog_tables.h"
#include "sync/dirty_marks.h"
#include "sync/missing_records.h"
#include "sync/received_tables.h"
#include "sync/session_report.h"
#include "sync/state_lines.h"
#include "sync/wire.h"

using namespace vorne;

namespace {

constexpr int kNotOpened = 124;                                    // message
constexpr UInt32 kAllRepeated = ~UInt32{0};                        // no packet has that number
constexpr std::int32_t kNearlyLargest = kLargestFile - (1 << 20);  // a file of that size is full soon
enum Status { kBadPacket = 1074, kNoDatabase = 1116, kNotRequested = 1172, kLineFailed = 1173 };
enum Result { kReceived = 0, kNotSent = 1, kNoFile = 5, kBroken = 12 };

// One reception. Packets that an earlier, interrupted one has left are kept, and taken for the same ones when the host
// sends them again: a table without a key must not get its records twice.
class Reception {
 public:
  Reception(const char* name, char type) : name_(name), type_(type) {}
  Reception(const Reception&) = delete;
  Reception& operator=(const Reception&) = delete;
  ~Reception() { close(); }

  bool open() {
    db_ = OpenTemporary(name_, kPacketsReceived, IfExists::Keep);
    earlier_ = db_ == nullptr ? 0 : DmNumRecords(db_);
    return db_ != nullptr;
  }
  bool isNew() const { return DmNumRecords(db_) == 0; }
  std::optional<ControlRecord> control() const { return ParseControl(RecordBytes(db_, 0)); }
  /// There was no room. When packets of an earlier reception that the host does not send again fill the file, they go,
  /// and the host is asked for all the next time: it may believe that they have been taken.
  void tellNoRoom() {
    const std::string why = WhyNotGrown(*db_->hFile);
    const bool isFull = db_->hFile->szmap > kNearlyLargest;
    TellNotStored(why);
    if (isFull && (hasOthers_ || next_ < earlier_) && NoteMissing(name_)) startAnew();
  }
  void startAnew() {
    close();
    DeleteTemporary(name_, kPacketsReceived);
  }

  bool writeControl(bool complete, std::uint32_t count) {
    const auto bytes = MakeControl({type_, complete, count});
    return isNew() ? hasRoom(bytes.size()) && AppendRecord(db_, bytes) : StoreRecord(db_, 0, bytes);
  }
  void count(const ReceivedPacket& packet) const {
    TableReport& report = ReportOf(name_);
    report.received += packet.records;
    report.bytes += packet.length;
  }
  /// Continues what an earlier reception of this type began.
  void keepType(char type) { type_ = type; }

  bool add(Bytes packet) {
    if (isKept(packet)) return true;
    return repeatKept() && append(packet);
  }
  /// Where the host has sent again some of the kept packets and not the others, those that it has sent are the newer
  /// ones. Without a key nothing is newer: there each packet adds its records.
  bool repeatKept() {
    const UInt32 again = std::exchange(next_, kAllRepeated);
    hasOthers_ = hasOthers_ || again < earlier_;
    if (again == 1 || again >= earlier_ || !HasKey(name_)) return true;
    for (UInt32 i = 1; i < again; ++i) {
      const Bytes kept = RecordBytes(db_, i);
      // Appending may move what it is appended to.
      if (!append(std::vector<char>(kept.begin(), kept.end()))) return false;
    }
    return true;
  }

 private:
  bool append(Bytes packet) {
    if (!hasRoom(packet.size()) || !AppendRecord(db_, packet)) return false;
    if (++added_ % 2 == 0) DmSyncDatabase(db_);
    return true;
  }
  bool hasRoom(std::size_t size) const {
    return EnsureRoom(db_->hFile, static_cast<long>(size + kRecordHeaderSize)) && EnsureRoom(db_->hOS, kOffsetSize);
  }
  bool isKept(Bytes packet) {
    if (next_ >= earlier_) return false;
    const Bytes kept = RecordBytes(db_, next_);
    if (kept.size() != packet.size() || std::memcmp(kept.data(), packet.data(), kept.size()) != 0) return false;
    ++next_;
    return true;
  }
  void close() {
    if (db_ == nullptr) return;
    DmResetRecordStates(db_);
    DmCloseDatabase(std::exchange(db_, nullptr));
  }

  std::string name_;
  char type_;
  DmOpenRef db_ = nullptr;
  UInt32 earlier_ = 0;      // records that an earlier reception has left
  UInt32 next_ = 1;         // of the kept packets, the one that the host may be sending again
  bool hasOthers_ = false;  // kept packets that the host has not sent again
  UInt32 added_ = 0;
};

int fail(int status, int result) {
  netglb->errStatus = status;
  return result;
}

bool requestTable(int socket) {
  Reset();
  WriteUShort(1);
  WriteByte(static_cast<std::uint8_t>(Request::Table));
  return WriteExact(socket, netglb->m_buffer, netglb->bIndex, 1) != 0;
}

int tellHostError() {
  char text[kNetTextRoom];
  ReadString(text);
  Tell(SyncText::HostError, text);
  return fail(kBadPacket, kBadPacket);
}

// Stores the packet that is in the buffer; its records are added to `total`.
int storePacket(Reception& reception, std::uint32_t& total) {
  const Bytes body(reinterpret_cast<const char*>(netglb->m_buffer), static_cast<std::size_t>(netglb->m_buflen));
  const auto packet = ParseReceived(body);
  if (!packet) {
    const int told = body.size() < 6 ? 0 : __GetShort(body.data() + 4);
    Tell(SyncText::PacketTooLong, told);
    return fail(kBadPacket, kBadPacket);
  }
  if (!reception.add(body.first(packet->length))) {
    reception.tellNoRoom();
    return fail(kBadPacket, kBadPacket);
  }
  total += packet->records;
  reception.count(*packet);
  return kReceived;
}

// Takes frames until the host ends the table.
int receivePackets(Reception& reception, int socket, std::int32_t announced, std::uint32_t& total) {
  constexpr int kHead = 4;  // two bytes that mean nothing, status, kind
  for (unsigned packets = 0;;) {
    const bool came = ReadSock(netglb->m_buffer, socket) != 0;
    if (!came || netglb->m_buflen < kHead) return fail(kLineFailed, kBroken);
    std::uint8_t status = 0, kind = 0;
    ReadByte(&status);
    ReadByte(&kind);
    if (status == kHostError) return tellHostError();
    if (status != kTablePacket || kind != kPacketKind) return kReceived;
    if (const int failed = storePacket(reception, total)) return failed;
    if (++packets % 2 == 0 && announced > 0) ShowProgress(2, static_cast<int>(100.0 * total / announced), nullptr);
  }
}

}  // namespace

int TableFromHostToHH(const char* name, int socket, std::int32_t count, char type) {
  VerifyBuffers();
  if (count == 0) return kReceived;
  Reception reception(name, type);
  const auto cannotOpen = [name] {
    TellMessage(kNotOpened, name);
    return fail(kNoDatabase, kNoFile);
  };
  if (!reception.open()) return cannotOpen();
  if (!reception.isNew()) {
    const auto before = reception.control();
    // A whole one that waited while the table had records for the host is older than those; the host's new one has
    // them.
    if (before && before->type == 'T' && before->complete && !IsTaken(name)) return kReceived;
    if (before && before->type != 'T' && type != 'T') {
      reception.keepType(before->type);
    } else {
      // A host that sends a part of it believes that the whole one was taken.
      if (type != 'T' && !NoteMissing(name)) return cannotOpen();
      reception.startAnew();
      if (!reception.open()) return cannotOpen();
    }
  }
  const auto announced = static_cast<std::uint32_t>(count < 0 ? 0 : count);
  // Also over what was whole: until the host has told the end, more of it is under way.
  if (!reception.writeControl(false, announced)) {
    reception.tellNoRoom();
    return fail(kBadPacket, kBadPacket);
  }
  const std::string line = Filled(SyncText::Receiving, name, static_cast<long>(count));
  ShowProgress(2, 0, line.c_str());
  DoSetState(line.c_str());

  std::uint32_t total = 0;
  int result = kReceived;
  if (requestTable(socket)) {
    result = receivePackets(reception, socket, count, total);
  } else {
    Tell(SyncText::RetryTable, 0, name);
    result = fail(kNotRequested, kNotSent);
  }
  Tell(SyncText::Received, static_cast<long>(total));
  if (result != kReceived) return result;
  if (!reception.repeatKept() || !NoteReceivedTable(name) || !reception.writeControl(true, total)) {
    reception.tellNoRoom();
    return fail(kBadPacket, kBadPacket);
  }
  // What went up before is in it: nothing tells any more that a whole table is older than that.
  if (type == 'T' && IsTaken(name)) DeleteTemporary(name, kPacketsToSend);
  return kReceived;
}
