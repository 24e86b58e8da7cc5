// The system calls that touch sockets, behind one table: the floor calls nothing of the kind elsewhere, so that tests
// put failing, slow or recorded versions in their place.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

namespace vorne {

/// Each place has the meaning, results and errno of the call it is named after.
struct NetworkSystem {
  /// The first IPv4 address of a host name in network order, into `address`; false when there is none.
  bool (*resolve)(const char* host, std::uint32_t* address);
  int (*socket)();  ///< of a TCP connection that never blocks, not inherited by programs that the host starts
  int (*connect)(int socket, std::uint32_t address, std::uint16_t port);  ///< address in network order
  /// Once a connect under way can be written to: how it ended.
  int (*connected)(int socket);
  ssize_t (*send)(int socket, const void* bytes, std::size_t n);  ///< never a signal
  ssize_t (*recv)(int socket, void* bytes, std::size_t n);
  /// Waits until the socket can be read (or written): 1; 0 when `seconds` are over, -1 when it failed.
  int (*wait)(int socket, bool toWrite, int seconds);
  int (*shutdown)(int socket);  ///< for reading
  int (*close)(int socket);
  void (*pause)(unsigned microseconds);
};

/// The system itself.
extern const NetworkSystem kNetworkSystem;
/// What the floor calls.
extern NetworkSystem networkSystem;

}  // namespace vorne
