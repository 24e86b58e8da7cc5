// Inflating into netglb->m_compact what the host sent.
#include <algorithm>
#include <cstring>

#include "storage/databases/tempdb.h"
#include "sync/compression.h"
#include "sync/inflating.h"
#include "sync/vornesync.h"

using namespace vorne;

namespace {

int inflateInto(std::span<const char> stream, int outLen) {
  const int room = outLen <= 0 ? kLargestFrame : std::min(outLen, kFrameRoom);
  return static_cast<int>(
      Inflate(stream, {reinterpret_cast<char*>(netglb->m_compact), static_cast<std::size_t>(room)}));
}

bool isPlain(const ReceivedPacket& packet) {
  return ng != nullptr && ng->bHasZlib == 0 && packet.data.size() == packet.inflatedSize;
}

}  // namespace

int vorne::ExpandPacket(const ReceivedPacket& packet) {
  VerifyBuffers();
  if (!isPlain(packet)) return inflateInto(packet.data, packet.inflatedSize);
  const std::size_t size = std::min<std::size_t>(packet.data.size(), kFrameRoom);
  if (size != 0) std::memcpy(netglb->m_compact, packet.data.data(), size);
  return static_cast<int>(size);
}

int DoUnPack(const void* src, int srcLen, int outLen) {
  VerifyBuffers();
  if (src == nullptr || srcLen <= 0) return 0;
  return inflateInto({static_cast<const char*>(src), static_cast<std::size_t>(srcLen)}, outLen);
}

int __ExpandBuffer(void* buffer, int binary) {
  VerifyBuffers();
  auto* bytes = static_cast<char*>(buffer);
  const int end = std::clamp(netglb->m_buflen, 0, kFrameRoom), from = std::clamp(netglb->bIndex, 0, end);
  if (bytes == nullptr || end < kReplyBodySkip + 2) return 0;
  const char* told = bytes + kReplyBodySkip;
  const auto digits = std::string_view(told, static_cast<std::size_t>(end - kReplyBodySkip));
  const int length = binary != 0 ? __GetShort(told) : static_cast<int>(DecimalIn(digits, kFrameRoom));
  const int size = DoUnPack(bytes + from, std::min(length, end - from), 0);
  if (size != 0) std::memcpy(bytes, netglb->m_compact, static_cast<std::size_t>(size));
  return size;
}

MemHandle __ExpandRecs(DmOpenRef db, UInt32 index, UInt16* count) {
  VerifyBuffers();
  const MemHandle record = DmQueryRecord(db, index);
  if (record == nullptr) return nullptr;
  const auto* bytes = static_cast<const char*>(MemHandleLock(record));
  const auto packet = ParseReceived({bytes, MemHandleSize(record)});
  int size = 0;
  if (packet) {
    netglb->m_tot_rec = packet->records;
    if (count != nullptr) *count = packet->records;
    size = ExpandPacket(*packet);
  }
  if (size != 0) return record;
  MemHandleUnlock(record);
  return nullptr;
}
