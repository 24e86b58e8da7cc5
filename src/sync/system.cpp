#include "sync/system.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

#include "screen/back_end.h"
#include "storage/files/descriptor.h"

namespace vorne {

namespace {

bool resolveHost(const char* host, std::uint32_t* address) {
  in_addr quad = {};
  if (::inet_aton(host, &quad) != 0) {
    *address = quad.s_addr;
    return true;
  }
  addrinfo wanted = {}, *found = nullptr;
  wanted.ai_family = AF_INET;
  wanted.ai_socktype = SOCK_STREAM;
  if (::getaddrinfo(host, nullptr, &wanted, &found) != 0) return false;
  *address = reinterpret_cast<const sockaddr_in*>(found->ai_addr)->sin_addr.s_addr;
  ::freeaddrinfo(found);
  return true;
}

int openSocket() {
  // A host that has closed its standard streams must not have its lines of text sent to the server.
  const int socket = AboveStreams(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  // A frame's header and its body are sent one by one: the body would wait until the host's system gets round to
  // acknowledging the header, which costs every request 40 ms.
  const int on = 1;
  ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
  return socket;
}

int connectSocket(int socket, std::uint32_t address, std::uint16_t port) {
  sockaddr_in peer = {};
  peer.sin_family = AF_INET;
  peer.sin_port = htons(port);
  peer.sin_addr.s_addr = address;
  return ::connect(socket, reinterpret_cast<const sockaddr*>(&peer), sizeof peer);
}

int connectionEnded(int socket) {
  int failure = 0;
  socklen_t size = sizeof failure;
  if (::getsockopt(socket, SOL_SOCKET, SO_ERROR, &failure, &size) == 0 && failure == 0) return 0;
  errno = failure;
  return -1;
}

ssize_t sendBytes(int socket, const void* bytes, std::size_t n) {
  ssize_t sent;
  while ((sent = ::send(socket, bytes, n, MSG_NOSIGNAL)) < 0 && errno == EINTR) {
  }
  return sent;
}

ssize_t receiveBytes(int socket, void* bytes, std::size_t n) {
  ssize_t received;
  while ((received = ::recv(socket, bytes, n, 0)) < 0 && errno == EINTR) {
  }
  return received;
}

int waitFor(int socket, bool toWrite, int seconds) {
  using Clock = std::chrono::steady_clock;
  const auto end = Clock::now() + std::chrono::seconds(seconds);
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd waiting = {socket, static_cast<short>(toWrite ? POLLOUT : POLLIN), 0};
    const int ready = ::poll(&waiting, 1, left > 0 ? static_cast<int>(left) : 0);
    if (ready >= 0) return ready;
    if (errno != EINTR) return -1;
    screen.interrupted();
  }
}

int shutDown(int socket) {
  return ::shutdown(socket, SHUT_RD);
}

void pauseFor(unsigned microseconds) {
  ::usleep(microseconds);
}

}  // namespace

const NetworkSystem kNetworkSystem = {resolveHost,  openSocket, connectSocket, connectionEnded, sendBytes,
                                      receiveBytes, waitFor,    shutDown,      ::close,         pauseFor};
NetworkSystem networkSystem = kNetworkSystem;

}  // namespace vorne
