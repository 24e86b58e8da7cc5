// A host that says what a test has written down, in place of the sockets: what the client sends is kept, what it is to
// receive lies ready from the start, since nothing on this line happens without being asked for.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "sync/system.h"

class ScriptedHost {
 public:
  enum class AtEnd { kSilent, kCloses };

  ScriptedHost() {
    current() = this;
    vorne::networkSystem = {
        [](const char* host, std::uint32_t* address) {
          *address = 1;
          return std::string_view(host) != "nowhere";
        },
        [] { return current()->hasSockets ? kSocket : -1; },
        [](int, std::uint32_t, std::uint16_t) {
          errno = current()->room == 0 ? EINPROGRESS : ECONNREFUSED;
          return current()->refuses || current()->room == 0 ? -1 : 0;
        },
        [](int) { return 0; },
        [](int, const void* bytes, std::size_t n) { return current()->take(static_cast<const char*>(bytes), n); },
        [](int, void* bytes, std::size_t n) { return current()->give(static_cast<char*>(bytes), n); },
        [](int, bool toWrite, int seconds) {
          ScriptedHost& host = *current();
          if (toWrite ? host.room != 0 : !host.script.empty() || host.atEnd == AtEnd::kCloses) return 1;
          host.waited += seconds;
          return 0;
        },
        [](int) { return 0; },
        [](int) { return ++current()->closed, 0; },
        [](unsigned) {},
    };
  }
  ~ScriptedHost() { vorne::networkSystem = vorne::kNetworkSystem; }
  ScriptedHost(const ScriptedHost&) = delete;
  ScriptedHost& operator=(const ScriptedHost&) = delete;

  /// A frame: its length, and the body behind the two bytes that mean nothing.
  ScriptedHost& reply(std::string_view body) {
    const std::size_t length = body.size() + 2;
    script += static_cast<char>(length >> 8);
    script += static_cast<char>(length & 0xFF);
    script.append(2, '\0').append(body);
    return *this;
  }
  /// The answer to a login that is welcome.
  ScriptedHost& welcome(std::string_view version = "6.0.0") {
    return reply("\x0D" + std::string(version) + '\0' + "p" + '\xFA');
  }

  std::string script, sent;
  AtEnd atEnd = AtEnd::kCloses;
  bool refuses = false, hasSockets = true;
  std::size_t piece = 1024;     ///< bytes that one call moves at most
  std::size_t room = SIZE_MAX;  ///< bytes that the line takes until it has no more room: the host reads nothing
  int failingSends = 0;         ///< how many of the next ones fail
  long sendsUntilBroken = -1;   ///< calls after which the line is gone; -1 never
  int waited = 0;               ///< seconds of silence
  int closed = 0;

 private:
  static constexpr int kSocket = 77;
  static ScriptedHost*& current() {
    static ScriptedHost* host = nullptr;
    return host;
  }

  ssize_t take(const char* bytes, std::size_t n) {
    errno = ECONNRESET;
    if (failingSends > 0) return --failingSends, -1;
    if (sendsUntilBroken == 0) return -1;
    if (sendsUntilBroken > 0) --sendsUntilBroken;
    if (room == 0) return errno = EAGAIN, -1;
    n = std::min({n, piece, room});
    room -= n;
    sent.append(bytes, n);
    return static_cast<ssize_t>(n);
  }
  ssize_t give(char* bytes, std::size_t n) {
    n = std::min({n, piece, script.size()});
    std::memcpy(bytes, script.data(), n);
    script.erase(0, n);
    return static_cast<ssize_t>(n);
  }
};
