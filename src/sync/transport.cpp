// The line: sockets, and frames out of and into netglb->m_buffer.
#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

#include "log/message_log.h"
#include "runtime/local_clock.h"
#include "sync/session_globals.h"
#include "sync/state_lines.h"
#include "sync/system.h"
#include "sync/wire.h"

using namespace vorne;

namespace {

constexpr int kRoundSeconds = 30;

enum Message { kNoSocket = 79, kNoConnection = 80, kTimedOut = 125 };
enum Status { kUnknownHost = 1125, kSocketFailed = 1135 };

// For the log of support, whose words for it have the backslash and the n as they are.
void logFailedSend(const char* format, ...) {
  char line[160];
  std::va_list arguments;
  va_start(arguments, format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::vsnprintf(line, sizeof line, format, arguments);
#pragma GCC diagnostic pop
  va_end(arguments);
  __WriteMsgLog(line);
}

std::string timeText() {
  char time[16];
  const std::tm now = LocalNow();
  std::strftime(time, sizeof time, "%H:%M:%S", &now);
  return time;
}

// 1 once there is something to read, or room to write; 0 when the session's rounds are over, -1 when the line failed.
int waitInRounds(int socket, bool toWrite) {
  int ready = 0;
  for (int round = 0; ready == 0 && round <= netglb->m_timeout / kRoundSeconds; ++round)
    ready = networkSystem.wait(socket, toWrite, kRoundSeconds);
  return ready;
}

// What one send takes. A host that reads nothing leaves no room: 0 when that lasts all rounds.
ssize_t sendSome(int socket, const void* bytes, std::size_t n) {
  for (;;) {
    const ssize_t sent = networkSystem.send(socket, bytes, n);
    if (sent >= 0 || errno != EAGAIN) return sent;
    if (const int ready = waitInRounds(socket, true); ready <= 0) return ready;
  }
}

// The header goes whole in one send: the server takes its three bytes at once.
bool sendHeader(int socket, std::uint16_t length) {
  const auto header = RequestHeader(length);
  int retry = 1, partial = 0;
  for (;;) {
    const ssize_t sent = sendSome(socket, header.data(), header.size());
    if (sent == static_cast<ssize_t>(header.size())) return true;
    if (sent > 0) {
      if (++partial > 3) return false;
      retry = 1;
      continue;
    }
    logFailedSend("WriteExact %s falhou send(1)\\nrc=%d retry=%d", timeText().c_str(), static_cast<int>(sent), retry);
    if (sent == 0 || retry == 0) return false;
    if (networkSystem.wait(socket, true, netglb->m_timeout) <= 0) return false;
    --retry;
  }
}

bool sendBody(int socket, const char* bytes, int n) {
  int retry = 1;
  for (int i = 0; i < n;) {
    const int piece = std::min(n - i, std::max(netglb->s_mtu, 1));
    const ssize_t sent = sendSome(socket, bytes + i, static_cast<std::size_t>(piece));
    if (sent >= 1) {
      i += static_cast<int>(sent);
      retry = 1;
    } else if (sent == 0 || retry-- == 0) {
      logFailedSend("WriteExact %s falhou send(3)\\nrc=%d retry=%d\\nn=%d i=%d", timeText().c_str(),
                    static_cast<int>(sent), 0, n, i);
      return false;
    }
  }
  return true;
}

// True once the host has taken the connection; what it never answers ends with the rounds.
bool connectSocket(int socket, std::uint32_t address, UInt16 port) {
  if (networkSystem.connect(socket, address, port) == 0) return true;
  const bool isUnderWay = errno == EINPROGRESS || errno == EINTR;
  return isUnderWay && waitInRounds(socket, true) > 0 && networkSystem.connected(socket) == 0;
}

// Nothing of the request that was built in the buffer is taken for a reply.
void enterNothingReceived(int body) {
  std::memset(netglb->m_buffer + kReplyBodySkip, 0, 14);
  netglb->m_buflen = 0;
  if (body != 0) netglb->bIndex = kReplyBodySkip;
}

void enterReceived(const char* bytes, int n, int body) {
  std::memcpy(netglb->m_buffer, bytes, static_cast<std::size_t>(n));
  netglb->m_buffer[n] = 0;
  netglb->m_buflen = n;
  if (body != 0) netglb->bIndex = kReplyBodySkip;
  netglb->bFalhaSendReceive = 0;
}

}  // namespace

void vorne::CloseSocket(int* socket) {
  // 0 is the host's own standard input, and what an address that was never connected holds.
  if (*socket > 0) {
    networkSystem.shutdown(*socket);
    networkSystem.close(*socket);
  }
  *socket = 0;
}

int DoCommInterfaceOpen(long*) {
  return 1;
}
int DoCommInterfaceClose(long) {
  WSACleanup();
  return 1;
}

int OpenSocket(const char* host, UInt16 port, int* socket) {
  if (*socket > 0) CloseSocket(socket);
  std::uint32_t address = 0;
  if (host == nullptr || !networkSystem.resolve(host, &address)) {
    netglb->errStatus = kUnknownHost;
    return -1;
  }
  *socket = networkSystem.socket();
  if (*socket < 0) {
    *socket = 0;
    TellMessage(kNoSocket);
    netglb->errStatus = kSocketFailed;
    return -1;
  }
  if (connectSocket(*socket, address, port)) return 1;
  TellMessage(kNoConnection);
  CloseSocket(socket);
  netglb->bFalhaSendReceive = 1;
  return -1;
}

int WriteExact(int socket, const void* data, int n, int header) {
  netglb->bFalhaSendReceive = 1;
  if (std::exchange(netglb->bOverflow, Boolean{0}) != 0 || n < 0 || n > kFrameRoom || (n != 0 && data == nullptr))
    return 0;
  if (header != 0 && !sendHeader(socket, static_cast<std::uint16_t>(n))) return 0;
  if (!sendBody(socket, static_cast<const char*>(data), n)) return 0;
  netglb->bFalhaSendReceive = 0;
  return 1;
}

int ReadExact(int socket, void*, int n, int body) {
  VerifyBuffers();
  netglb->bFalhaSendReceive = 1;
  if (n < 0 || n > kLargestFrame) {
    std::printf("falhou xbuff");
    return 1;
  }
  // Put together aside: until all of it is there the buffer keeps what it has.
  char bytes[kLargestFrame];
  for (int got = 0; got < n;) {
    const int ready = waitInRounds(socket, false);
    if (ready == 0 && got == 0) {
      enterNothingReceived(body);
      return 0;
    }
    if (ready <= 0) return 1;
    const int piece = std::min(n - got, std::max(netglb->r_mtu, 1));
    const ssize_t received = networkSystem.recv(socket, bytes + got, static_cast<std::size_t>(piece));
    if (received < 1) return 1;
    got += static_cast<int>(received);
  }
  enterReceived(bytes, n, body);
  return 0;
}

int ReadSock(void*, int socket) {
  VerifyBuffers();
  std::uint8_t* buffer = netglb->m_buffer;
  std::memset(buffer, 0, 2);
  if (ReadExact(socket, buffer, 2, 0) != 0) return 0;
  if (ReadExact(socket, buffer, __GetShort(buffer), 1) == 0) return 1;
  TellMessage(kTimedOut);
  return 0;
}

std::uint16_t Crc16(const void*, int) {
  return 0;
}
