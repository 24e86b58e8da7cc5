// One device's session as a machine of bytes: what comes from the line goes in, what is to go out is taken. Nothing
// here knows a socket or a clock. What goes out may be sent only after the store's commit().
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "synchost/download.h"
#include "synchost/plan.h"
#include "synchost/protocol.h"
#include "synchost/store.h"
#include "synchost/upload.h"

namespace synchost {

struct SessionTotals {
  std::int64_t rowsSent = 0, rowsReceived = 0, rowsPassedOver = 0, images = 0;
};

class Session {
 public:
  explicit Session(Store& store) : store_(&store) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  /// Ends a session in which more is asked for than has been answered: nobody may pile work up here.
  /// @throws StoreFailure; the session is then of no more use
  void receive(vorne::Bytes bytes);
  /// True while more is to be sent than went out yet: send() when the device has taken that.
  bool hasMore() const { return phase_ == Phase::kStreaming; }
  void send();
  /// What is to go out, taken away.
  std::vector<char> takeOutput();
  /// The line has taken all that was to go out: the device may ask on.
  void answered() { answering_ = hasMore(); }

  /// Nothing more is taken; what output is left ends the connection.
  bool ended() const { return phase_ == Phase::kEnded; }
  bool loggedIn() const { return !device_.empty(); }
  const std::string& device() const { return device_; }
  /// How it ended, for the log; "cut" until it has.
  const std::string& result() const { return result_; }
  bool succeeded() const { return succeeded_; }
  const SessionTotals& totals() const { return totals_; }

 private:
  enum class Phase { kLogin, kReady, kStreaming, kEnded };

  void handle(const Request& request);
  void logIn(vorne::Bytes body);
  void countTasks();
  void fetchTask(std::uint32_t number);
  void announce(const PlannedTask& task);
  void announceDownload();
  void requestTable();
  void sendImages();
  void takePacket(vorne::Bytes body);
  void settle();
  void refuse(const std::string& text);
  void end(const std::string& result) {
    phase_ = Phase::kEnded;
    result_ = result;
  }
  Reply taskReply(Operation operation) const;

  Store* store_;
  Phase phase_ = Phase::kLogin;
  std::vector<char> input_, output_;
  bool answering_ = false;
  std::endian order_ = std::endian::little;
  std::string device_;
  bool compress_ = true;
  std::int64_t catalogue_ = 0;  // the change that made the catalogue, no later than these tables were read
  std::vector<Table> tables_;
  std::vector<PlannedTask> plan_;
  const PlannedTask* current_ = nullptr;  // the task that was fetched last, until the next request
  std::optional<Download> download_;
  std::optional<Upload> upload_;
  bool imagesSent_ = false;
  std::string result_ = "cut";
  bool succeeded_ = false;
  SessionTotals totals_;
};

}  // namespace synchost
