#include <cstring>

#include "log/message_log.h"
#include "runtime/hooks.h"
#include "runtime/memory.h"
#include "sync/vornenet.h"

using namespace vorne;

net_glob* netglb = nullptr;
Boolean bRestart = 0;
Boolean bNewSync = 0;

namespace {

constexpr int kPiece = 1024;  // what the smallest machines' stacks took at a time
constexpr int kDefaultTimeout = 20;

void freeBuffer(std::uint8_t*& buffer) {
  Release(buffer);
  buffer = nullptr;
}

void needBuffer(std::uint8_t*& buffer) {
  if (buffer == nullptr) buffer = static_cast<std::uint8_t*>(Allocate(kFrameRoom));
}

}  // namespace

int __VerifyNetGlb() {
  if (netglb != nullptr) return 1;
  netglb = static_cast<net_glob*>(Allocate(sizeof(net_glob)));
  netglb->m_max_buff = kLargestFrame;
  netglb->r_mtu = netglb->s_mtu = kPiece;
  netglb->m_type_sync = '2';
  netglb->m_timeout = kDefaultTimeout;
  // A session's own ending frees these buffers too.
  if (hooks.closeNetwork == nullptr) hooks.closeNetwork = LiberarComBuffs;
  KeepMessageLogIn(&netglb->mlogfile);
  return 1;
}

void VerifyBuffers() {
  __VerifyNetGlb();
  netglb->m_max_buff = kLargestFrame;
  needBuffer(netglb->m_buffer);
  needBuffer(netglb->m_compact);
}

void LiberarComBuffs() {
  if (netglb == nullptr) return;
  if (netglb->mlogfile != nullptr) __CloseMsgLog();
  freeBuffer(netglb->m_buffer);
  freeBuffer(netglb->m_compact);
  netglb->dbLogRef = nullptr;
}

const char* __Memory() {
  return __MemoryReport();
}

Boolean __SwapBytes() {
  // 0x42F2 as this machine stores it.
  const std::uint16_t pattern = 0x42F2;
  std::uint8_t bytes[2];
  std::memcpy(bytes, &pattern, sizeof bytes);
  bswapnum = bytes[0] == 0xF2 && bytes[1] == 0x42;
  return bswapnum;
}
