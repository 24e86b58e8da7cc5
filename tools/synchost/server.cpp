#include "synchost/server.h"

#include <sys/resource.h>
#include <uv.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <list>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "edge/console.h"
#include "synchost/line.h"
#include "synchost/metrics.h"
#include "synchost/metrics_page.h"
#include "synchost/session.h"
#include "synchost/session_log.h"

namespace synchost {
namespace {

constexpr std::uint64_t kSecond = 1000;

class Server;

/// A device's connection with its session.
class Connection : public Line::Owner {
 public:
  Connection(uv_stream_t* listener, Server& server);

  void received(std::span<const char> bytes) override;
  void sent() override;
  void cut() override;
  void closed() override;

  bool loggedIn() const { return session_.loggedIn(); }
  /// Nobody has logged in yet, and may still do.
  bool isSilent() const { return !loggedIn() && !isOver_; }
  /// What the session has to say, now that what it relies on stands.
  void answer();
  /// Ends it from this side; why is for the log.
  void end(const std::string& why);
  /// Ends it when a bound is passed.
  void checkTimes(std::uint64_t now, const Limits& limits);
  const SessionRecord& record() const { return record_; }
  const Session& session() const { return session_; }

  bool waits = false;  // in the server's list of those that are to be answered

 private:
  void close(const std::string& result);

  Server* server_;
  Session session_;
  SessionRecord record_;
  std::uint64_t began_, moved_;
  bool isOver_ = false;
  Line line_;
};

class Server {
 public:
  Server(Store& store, const ServeOptions& options);
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  void run();

  Store& store() { return *store_; }
  std::uint64_t now() const { return uv_now(loop_); }
  /// Answers it when this round's changes stand.
  void touch(Connection& connection);
  /// The store has failed: nobody who brought something in this round is answered. One wait for it is enough.
  void fail(const std::string& why);
  bool hasFailed() const { return failure_.has_value(); }
  void remove(Connection& connection);

 private:
  template <class Handle>
  static Server& of(Handle* handle) {
    return *static_cast<Server*>(handle->data);
  }
  void take(uv_stream_t* listener);
  void endRound();
  void checkTimes();
  void stop();
  void watch(uv_signal_t& handle, int signal, uv_signal_cb callback);
  void closeHandles();

  Store* store_;
  Limits limits_;
  SessionLog log_;
  Metrics metrics_;
  uv_loop_t* loop_ = uv_default_loop();
  uv_check_t round_;
  uv_idle_t hurry_;  // keeps the loop from waiting for more while somebody is to be answered
  uv_timer_t timer_;
  uv_signal_t terminate_, interrupt_, hangup_;
  std::list<std::unique_ptr<Connection>> connections_;  // in the order in which they came
  std::vector<Connection*> waiting_;
  std::optional<std::string> failure_;
  bool isDue_ = false;  // the times of the connections are to be looked at
  std::optional<std::uint64_t> stopsAt_;
  std::unique_ptr<Listener> listener_;
  std::optional<MetricsPage> page_;
};

Connection::Connection(uv_stream_t* listener, Server& server)
    : server_(&server), session_(server.store()), began_(server.now()), moved_(began_), line_(listener, *this) {
  record_.address = line_.address();
  record_.began = TimeText(std::time(nullptr));
}

void Connection::received(std::span<const char> bytes) {
  if (isOver_) return;
  moved_ = server_->now();
  record_.bytesReceived += static_cast<std::int64_t>(bytes.size());
  try {
    if (!server_->hasFailed()) session_.receive(bytes);
  } catch (const std::exception& failure) {
    server_->fail(failure.what());
  }
  if (session_.ended()) close(session_.result());
  server_->touch(*this);
}

void Connection::sent() {
  moved_ = server_->now();
  session_.answered();
  if (session_.hasMore()) server_->touch(*this);
}

void Connection::cut() {
  if (!isOver_) {
    close(session_.result());
    server_->touch(*this);
  }
  line_.close();
}

void Connection::closed() {
  server_->remove(*this);
}

// Takes down how it went; the line closes when the last answer is on its way.
void Connection::close(const std::string& result) {
  if (std::exchange(isOver_, true)) return;
  record_.device = session_.device();
  record_.result = result;
  record_.milliseconds = static_cast<std::int64_t>(server_->now() - began_);
  record_.rowsSent = session_.totals().rowsSent;
  record_.rowsReceived = session_.totals().rowsReceived;
  record_.rowsPassedOver = session_.totals().rowsPassedOver;
  if (!loggedIn() || server_->hasFailed()) return;
  try {
    server_->store().putSession(record_);
  } catch (const StoreFailure& failure) {
    server_->fail(failure.what());
  }
}

void Connection::answer() {
  if (session_.hasMore() && !line_.isSending()) session_.send();
  std::vector<char> out = session_.takeOutput();
  record_.bytesSent += static_cast<std::int64_t>(out.size());
  if (!out.empty()) line_.send(std::move(out));
  if (isOver_) line_.closeWhenSent();
}

void Connection::end(const std::string& why) {
  close(why);
  server_->touch(*this);
  line_.close();
}

void Connection::checkTimes(std::uint64_t now, const Limits& limits) {
  const auto isPast = [now](std::uint64_t since, int seconds) {
    return now - since > static_cast<std::uint64_t>(seconds) * kSecond;
  };
  if (!loggedIn() && isPast(began_, limits.login)) return end("no login in time");
  if (isPast(moved_, limits.idle)) return end("idle for too long");
  if (isPast(began_, limits.longest)) return end("longer than a session may be");
}

Server::Server(Store& store, const ServeOptions& options) : store_(&store), limits_(options.limits), log_(options.log) {
  listener_ = std::make_unique<Listener>(loop_, options.listen, [this](uv_stream_t* listener) { take(listener); });
  if (!options.metrics.empty()) page_.emplace(loop_, options.metrics, metrics_);
  uv_check_init(loop_, &round_);
  round_.data = this;
  uv_check_start(&round_, [](uv_check_t* handle) { of(handle).endRound(); });
  uv_idle_init(loop_, &hurry_);
  uv_timer_init(loop_, &timer_);
  timer_.data = this;
  uv_timer_start(
      &timer_, [](uv_timer_t* handle) { of(handle).isDue_ = true; }, kSecond, kSecond);
  watch(terminate_, SIGTERM, [](uv_signal_t* handle, int) { of(handle).stop(); });
  watch(interrupt_, SIGINT, [](uv_signal_t* handle, int) { of(handle).stop(); });
  watch(hangup_, SIGHUP, [](uv_signal_t* handle, int) { of(handle).log_.reopen(); });
}

void Server::watch(uv_signal_t& handle, int signal, uv_signal_cb callback) {
  uv_signal_init(loop_, &handle);
  handle.data = this;
  uv_signal_start(&handle, callback, signal);
}

void Server::run() {
  tool::note("listening on " + listener_->address());
  if (page_) tool::note("metrics on http://" + page_->address() + "/metrics");
  uv_run(loop_, UV_RUN_DEFAULT);
}

void Server::take(uv_stream_t* listener) {
  ++metrics_.connections;
  Connection& taken = *connections_.emplace_back(std::make_unique<Connection>(listener, *this));
  if (connections_.size() <= static_cast<std::size_t>(limits_.connections)) return;
  // Whoever has said nothing yet makes room, the oldest first: a flood of such connections must not keep devices out.
  const auto silent = std::find_if(connections_.begin(), std::prev(connections_.end()),
                                   [](const auto& connection) { return connection->isSilent(); });
  ++metrics_.turnedAway;
  (silent == std::prev(connections_.end()) ? taken : **silent).end("no room");
}

void Server::touch(Connection& connection) {
  if (std::exchange(connection.waits, true)) return;
  waiting_.push_back(&connection);
  uv_idle_start(&hurry_, [](uv_idle_t*) {});
}

void Server::fail(const std::string& why) {
  if (!failure_) failure_ = why;
}

void Server::endRound() {
  if (std::exchange(isDue_, false)) checkTimes();
  uv_idle_stop(&hurry_);
  if (waiting_.empty()) return;
  try {
    if (!failure_) store_->commit();
  } catch (const StoreFailure& failure) {
    fail(failure.what());
  }
  const std::vector<Connection*> waiting = std::exchange(waiting_, {});
  for (Connection* connection : waiting) connection->waits = false;
  if (failure_) {
    store_->rollback();
    ++metrics_.storeFailures;
    tool::note("the store failed: " + *failure_ + "\n  next: the sessions of this moment are cut; devices try again.");
  }
  for (Connection* connection : waiting) {
    try {
      if (failure_)
        connection->end("the store failed");
      else
        connection->answer();
    } catch (const std::exception& failure) {
      tool::note(std::string("a session is cut: ") + failure.what());
      connection->end("the store failed");
    }
  }
  if (failure_) {
    store_->rollback();
    waiting_.clear();
    for (Connection* connection : waiting) connection->waits = false;
    failure_.reset();
  }
}

void Server::remove(Connection& connection) {
  std::erase(waiting_, &connection);
  const SessionRecord& record = connection.record();
  log_.write(record);
  metrics_.rowsSent += static_cast<std::uint64_t>(record.rowsSent);
  metrics_.rowsReceived += static_cast<std::uint64_t>(record.rowsReceived);
  metrics_.bytesSent += static_cast<std::uint64_t>(record.bytesSent);
  metrics_.bytesReceived += static_cast<std::uint64_t>(record.bytesReceived);
  if (connection.loggedIn()) {
    metrics_.countSession(static_cast<double>(record.milliseconds) / kSecond);
    ++(connection.session().succeeded() ? metrics_.done : metrics_.cut);
  } else {
    ++metrics_.refused;
  }
  connections_.remove_if([&](const auto& one) { return one.get() == &connection; });
  if (stopsAt_ && connections_.empty()) closeHandles();
}

// After what waits to be read was read: a host that is slow must not take its own delay for the devices'.
void Server::checkTimes() {
  metrics_.open = connections_.size();
  const bool isOver = stopsAt_ && now() >= *stopsAt_;
  for (const auto& connection : connections_) {
    if (isOver)
      connection->end("the host ended");
    else
      connection->checkTimes(now(), limits_);
  }
}

// The door closes, those who are inside may finish.
void Server::stop() {
  if (stopsAt_) return closeHandles();  // asked twice
  stopsAt_ = now() + static_cast<std::uint64_t>(limits_.grace) * kSecond;
  listener_->close();
  if (page_) page_->close();
  for (const auto& connection : connections_)
    if (connection->isSilent()) connection->end("the host ended");
  if (connections_.empty()) closeHandles();
}

void Server::closeHandles() {
  for (const auto& connection : connections_) connection->end("the host ended");
  for (uv_handle_t* handle : {reinterpret_cast<uv_handle_t*>(&timer_), reinterpret_cast<uv_handle_t*>(&terminate_),
                              reinterpret_cast<uv_handle_t*>(&interrupt_), reinterpret_cast<uv_handle_t*>(&hangup_)})
    if (uv_is_closing(handle) == 0) uv_close(handle, nullptr);
  // What the last round brought is committed still.
  if (!connections_.empty()) return;
  endRound();
  for (uv_handle_t* handle : {reinterpret_cast<uv_handle_t*>(&round_), reinterpret_cast<uv_handle_t*>(&hurry_)})
    if (uv_is_closing(handle) == 0) uv_close(handle, nullptr);
}

}  // namespace

void Serve(Store& store, const ServeOptions& options) {
  std::signal(SIGPIPE, SIG_IGN);
  rlimit files = {};
  if (getrlimit(RLIMIT_NOFILE, &files) == 0) {
    files.rlim_cur = files.rlim_max;
    setrlimit(RLIMIT_NOFILE, &files);
  }
  Server server(store, options);
  server.run();
}

}  // namespace synchost
