#include "edge/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace tool {

namespace {

constexpr auto kFirst = std::chrono::seconds(1);
constexpr auto kBetween = std::chrono::milliseconds(200);
constexpr const char* kClearLine = "\r\033[K";

}  // namespace

Progress::Progress(const char* unit, double size)
    : unit_(unit), size_(size), terminal_(isatty(STDERR_FILENO) == 1), start_(Clock::now()), next_(start_ + kFirst) {}

Progress::~Progress() {
  if (shown_) std::fputs(kClearLine, stderr);
}

void Progress::show(const std::string& label, std::uint64_t done, std::uint64_t all) {
  const Clock::time_point now = Clock::now();
  if (!terminal_ || now < next_) return;
  next_ = now + kBetween;
  shown_ = true;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double units = static_cast<double>(done) / size_;
  std::fprintf(stderr, "%s%.0f of %.0f %s, %.0f %s/s, %s", kClearLine, units,
               static_cast<double>(std::max(done, all)) / size_, unit_, units / seconds, unit_, label.c_str());
  std::fflush(stderr);
}

}  // namespace tool
