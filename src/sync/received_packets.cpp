#include "sync/received_packets.h"

#include <utility>

#include "sync/inflating.h"
#include "sync/vornenet.h"

namespace vorne {

void ReceivedPackets::close() {
  const DmOpenRef db = std::exchange(db_, nullptr);
  if (db == nullptr || !isOwner_) return;
  DmResetRecordStates(db);
  DmCloseDatabase(db);
}

bool ReceivedPackets::isComplete() const {
  const auto told = control();
  return told && told->complete;
}

namespace {

bool hasToApply(const std::string& table, bool isWhole) {
  const ReceivedPackets packets(table);
  return packets.isOpen() && packets.count() != 0 && packets.isComplete() &&
         (packets.control()->type == 'T') == isWhole;
}

}  // namespace

bool HasPartToApply(const std::string& table) {
  return hasToApply(table, false);
}

bool HasWholeToApply(const std::string& table) {
  return hasToApply(table, true);
}

std::optional<std::vector<SentRecord>> ReceivedPackets::content(UInt32 number, std::size_t memoFields) const {
  VerifyBuffers();
  const auto packet = ParseReceived(RecordBytes(db_, number));
  if (!packet) return {};
  const int size = packet->records == 0 && packet->inflatedSize == 0 ? 0 : ExpandPacket(*packet);
  return ParseContent({reinterpret_cast<const char*>(netglb->m_compact), static_cast<std::size_t>(size)},
                      packet->records, memoFields);
}

}  // namespace vorne
