#include "synchost/line.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

#include "edge/console.h"

namespace synchost {
namespace {

constexpr int kBacklog = 511;

// What arrives is worked on at once: one room for all lines.
std::array<char, 1 << 16> room;

std::string addressText(const sockaddr_storage& address) {
  char host[64] = "";
  const bool isSix = address.ss_family == AF_INET6;
  const auto& six = reinterpret_cast<const sockaddr_in6&>(address);
  const auto& four = reinterpret_cast<const sockaddr_in&>(address);
  if (isSix)
    uv_ip6_name(&six, host, sizeof host);
  else
    uv_ip4_name(&four, host, sizeof host);
  const std::string name = isSix ? "[" + std::string(host) + "]" : host;
  return name + ":" + std::to_string(ntohs(isSix ? six.sin6_port : four.sin_port));
}

sockaddr_storage addressFrom(const std::string& text) {
  const std::size_t colon = std::min(text.rfind(':'), text.size());
  std::string host = text.substr(0, colon);
  int port = -1;
  const char* const end = text.data() + text.size();
  const char* const begin = std::min(text.data() + colon + 1, end);
  const bool isNumber = std::from_chars(begin, end, port).ptr == end && begin != end;
  sockaddr_storage address = {};
  if (host.starts_with('[') && host.ends_with(']')) host = host.substr(1, host.size() - 2);
  const bool isHost = uv_ip4_addr(host.c_str(), port, reinterpret_cast<sockaddr_in*>(&address)) == 0 ||
                      uv_ip6_addr(host.c_str(), port, reinterpret_cast<sockaddr_in6*>(&address)) == 0;
  if (!isNumber || port < 0 || port > 65535 || !isHost)
    throw tool::Failure(tool::kUsage, "\"" + text + "\" is no address to listen on.\n  next: write ADDR:PORT, as in " +
                                          "127.0.0.1:5555, or 0.0.0.0:5555 for everybody.");
  return address;
}

std::string nextAfter(int error) {
  if (error == UV_EADDRNOTAVAIL) return "name an address of this machine, or 0.0.0.0 for all of them.";
  if (error == UV_EACCES) return "take a port from 1024 on.";
  return "end the program that uses it, or take another port.";
}

Line* lineOf(uv_handle_t* handle) {
  return static_cast<Line*>(handle->data);
}

}  // namespace

Line::Line(uv_stream_t* listener, Owner& owner) : owner_(&owner) {
  uv_tcp_init(listener->loop, &socket_);
  socket_.data = this;
  write_.data = this;
  auto* stream = reinterpret_cast<uv_stream_t*>(&socket_);
  if (uv_accept(listener, stream) != 0) {
    close();
    return;
  }
  sockaddr_storage peer = {};
  int size = sizeof peer;
  uv_tcp_getpeername(&socket_, reinterpret_cast<sockaddr*>(&peer), &size);
  address_ = addressText(peer);
  uv_tcp_nodelay(&socket_, 1);
  startRead();
}

void Line::startRead() {
  const auto allocate = [](uv_handle_t*, std::size_t, uv_buf_t* buffer) {
    *buffer = uv_buf_init(room.data(), static_cast<unsigned>(room.size()));
  };
  const auto read = [](uv_stream_t* stream, ssize_t size, const uv_buf_t* buffer) {
    Line* line = lineOf(reinterpret_cast<uv_handle_t*>(stream));
    if (size > 0) line->owner_->received({buffer->base, static_cast<std::size_t>(size)});
    if (size < 0) line->owner_->cut();
  };
  uv_read_start(reinterpret_cast<uv_stream_t*>(&socket_), allocate, read);
}

void Line::send(std::vector<char> bytes) {
  if (waiting_.empty())
    waiting_ = std::move(bytes);
  else
    waiting_.insert(waiting_.end(), bytes.begin(), bytes.end());
  if (!isSending() && !waiting_.empty()) startWrite();
}

void Line::startWrite() {
  sending_ = std::exchange(waiting_, {});
  const uv_buf_t buffer = uv_buf_init(sending_.data(), static_cast<unsigned>(sending_.size()));
  const auto done = [](uv_write_t* request, int status) { static_cast<Line*>(request->data)->written(status); };
  if (uv_write(&write_, reinterpret_cast<uv_stream_t*>(&socket_), &buffer, 1, done) != 0) {
    sending_.clear();
    owner_->cut();
  }
}

void Line::written(int status) {
  sending_.clear();
  if (uv_is_closing(reinterpret_cast<uv_handle_t*>(&socket_)) != 0) return;
  if (status != 0) return owner_->cut();
  if (!waiting_.empty()) return startWrite();
  if (endsWhenSent_) return close();
  owner_->sent();
}

void Line::close() {
  auto* handle = reinterpret_cast<uv_handle_t*>(&socket_);
  if (uv_is_closing(handle) == 0) uv_close(handle, [](uv_handle_t* closed) { lineOf(closed)->owner_->closed(); });
}

void Line::closeWhenSent() {
  endsWhenSent_ = true;
  if (!isSending()) close();
}

Listener::Listener(uv_loop_t* loop, const std::string& address, std::function<void(uv_stream_t*)> onConnection)
    : onConnection_(std::move(onConnection)) {
  const sockaddr_storage place = addressFrom(address);
  uv_tcp_init(loop, &socket_);
  socket_.data = this;
  const auto connected = [](uv_stream_t* stream, int status) {
    if (status == 0) static_cast<Listener*>(stream->data)->onConnection_(stream);
  };
  int error = uv_tcp_bind(&socket_, reinterpret_cast<const sockaddr*>(&place), 0);
  if (error == 0) error = uv_listen(reinterpret_cast<uv_stream_t*>(&socket_), kBacklog, connected);
  if (error != 0)
    throw tool::Failure(tool::kUsage,
                        "cannot listen on " + address + ": " + uv_strerror(error) + ".\n  next: " + nextAfter(error));
}

std::string Listener::address() const {
  sockaddr_storage place = {};
  int size = sizeof place;
  uv_tcp_getsockname(&socket_, reinterpret_cast<sockaddr*>(&place), &size);
  return addressText(place);
}

void Listener::close() {
  auto* handle = reinterpret_cast<uv_handle_t*>(&socket_);
  if (uv_is_closing(handle) == 0) uv_close(handle, nullptr);
}

}  // namespace synchost
