// How far something long has come, on standard error; only on a terminal, and only once it has taken a second.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

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

 private:
  using Clock = std::chrono::steady_clock;

  const char* const unit_;
  const double size_;
  const bool terminal_;
  const Clock::time_point start_;
  Clock::time_point next_;
  bool shown_ = false;
};

}  // namespace tool
