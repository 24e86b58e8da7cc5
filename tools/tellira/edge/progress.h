// That something long goes on, and how far it has come, on standard error; only on a terminal, and only once it has
// taken a second.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

class Progress {
 public:
  /// @param unit what is counted, `size` of them to one of the unit
  explicit Progress(const char* unit = "MB", double size = 1e6);
  /// Removes the line again.
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// `done` of `all`; `all` may grow. Costs next to nothing between two lines.
  void show(const std::string& label, std::uint64_t done, std::uint64_t all);
  /// How long it has taken, where nobody knows how far it has come.
  void show(const std::string& label);

 private:
  using Clock = std::chrono::steady_clock;

  bool isDue();
  void write(const std::string& line);
  double seconds() const;

  const char* const unit_;
  const double size_;
  const bool terminal_;
  const Clock::time_point start_;
  Clock::time_point next_;
  std::size_t shown_ = 0;  // columns of the line that is there
};

/// Shows by itself, from a thread of its own, that something goes on which cannot tell how far it has come: a call into
/// the runtime. Nothing else may be written to the terminal while it lives.
class Working {
 public:
  explicit Working(std::string label);
  ~Working();
  Working(const Working&) = delete;
  Working& operator=(const Working&) = delete;

 private:
  void run();

  const std::string label_;
  std::mutex mutex_;
  std::condition_variable ended_;
  bool isEnded_ = false;
  std::thread thread_;
};

}  // namespace tool
