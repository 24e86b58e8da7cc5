// How far something long has come, on standard error; only on a terminal, and only once it has taken a second.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

/// A line at the end of the terminal that is written anew in its place. No wider than the terminal, and without escape
/// sequences; card numbers masked.
class StatusLine {
 public:
  StatusLine();
  /// Removes the line again.
  ~StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  /// False where standard error is no terminal; nothing is shown then.
  bool isSeen() const { return width_ > 0; }
  void show(const std::string& text);

 private:
  const std::size_t width_;
  std::size_t shown_ = 0;  // columns
};

/// For what can be counted.
class Progress {
 public:
  /// @param unit what is counted, `size` of them to one of the unit
  explicit Progress(const char* unit = "MB", double size = 1e6);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// `done` of `all`; `all` may grow. Costs next to nothing between two lines.
  void show(const std::string& label, std::uint64_t done, std::uint64_t all);

 private:
  using Clock = std::chrono::steady_clock;

  const char* const unit_;
  const double size_;
  StatusLine line_;
  const Clock::time_point start_;
  Clock::time_point next_;
};

/// For what gives no account of itself: says every second that it goes on, from a thread of its own, as long as it
/// lives.
class Waiting {
 public:
  /// @param what is going on, as in "packing CUSTOMER"
  explicit Waiting(std::string what);
  ~Waiting();
  Waiting(const Waiting&) = delete;
  Waiting& operator=(const Waiting&) = delete;

 private:
  void run();

  const std::string what_;
  StatusLine line_;
  std::mutex mutex_;
  std::condition_variable ended_;
  bool isOver_ = false;
  std::thread thread_;
};

}  // namespace tool
