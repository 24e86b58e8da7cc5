// A connection and the socket that takes them in, on libuv's loop. Who owns a line is told what happens on it.
#pragma once

#include <uv.h>

#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace synchost {

class Line {
 public:
  class Owner {
   public:
    virtual ~Owner() = default;
    virtual void received(std::span<const char> bytes) = 0;
    /// All that was sent has been taken by the system.
    virtual void sent() = 0;
    /// The other end is gone, or the line failed.
    virtual void cut() = 0;
    /// Nothing more happens on the line; the owner may end it now, and only now.
    virtual void closed() = 0;
  };

  /// Takes the connection that waits.
  Line(uv_stream_t* listener, Owner& owner);
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  const std::string& address() const { return address_; }
  void send(std::vector<char> bytes);
  bool isSending() const { return !sending_.empty(); }
  void close();
  void closeWhenSent();

 private:
  void startRead();
  void startWrite();
  void written(int status);

  uv_tcp_t socket_;
  uv_write_t write_;
  Owner* owner_;
  std::string address_;
  std::vector<char> sending_, waiting_;
  bool endsWhenSent_ = false;
};

/// Listens on an address as in 127.0.0.1:5555 or [::]:5555; port 0 takes one that is free.
class Listener {
 public:
  /// @throws tool::Failure (kUsage) for what is no address, or one that cannot be had
  Listener(uv_loop_t* loop, const std::string& address, std::function<void(uv_stream_t*)> onConnection);
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  /// With the port that was taken.
  std::string address() const;
  void close();

 private:
  uv_tcp_t socket_;
  std::function<void(uv_stream_t*)> onConnection_;
};

}  // namespace synchost
