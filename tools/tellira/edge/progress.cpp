#include "edge/progress.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <system_error>
#include <utility>

#include "edge/console.h"
#include "edge/masking.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr auto kFirst = std::chrono::seconds(1);
constexpr auto kBetween = std::chrono::milliseconds(200);

}  // namespace

// The last column stays free: a character in it makes some terminals begin a new line.
StatusLine::StatusLine() : width_(std::max<std::size_t>(terminalWidth(STDERR_FILENO), 1) - 1) {}

StatusLine::~StatusLine() {
  if (shown_ > 0) std::fprintf(stderr, "\r%*s\r", static_cast<int>(shown_), "");
}

void StatusLine::show(const std::string& text) {
  if (!isSeen()) return;
  const std::string line = cutToColumns(maskCards(text), width_);
  const std::size_t width = columns(line);
  const std::size_t left = shown_ > width ? shown_ - width : 0;
  std::fprintf(stderr, "\r%s%*s", line.c_str(), static_cast<int>(left), "");
  std::fflush(stderr);
  shown_ = width;
}

Progress::Progress(const char* unit, double size)
    : unit_(unit), size_(size), start_(Clock::now()), next_(start_ + kFirst) {}

void Progress::show(const std::string& label, std::uint64_t done, std::uint64_t all) {
  const Clock::time_point now = Clock::now();
  if (!line_.isSeen() || now < next_) return;
  next_ = now + kBetween;
  const double seconds = std::chrono::duration<double>(now - start_).count();
  const double units = static_cast<double>(done) / size_;
  char text[128];
  std::snprintf(text, sizeof text, "%.0f of %.0f %s, %.0f %s/s, ", units,
                static_cast<double>(std::max(done, all)) / size_, unit_, units / seconds, unit_);
  line_.show(text + label);
}

Waiting::Waiting(std::string what) : what_(std::move(what)) {
  if (!line_.isSeen()) return;
  // Signals are for the thread that does the work.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  try {
    thread_ = std::thread(&Waiting::run, this);
  } catch (const std::system_error&) {
    // Without it the work goes on unseen.
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Waiting::~Waiting() {
  if (!thread_.joinable()) return;
  {
    const std::lock_guard<std::mutex> lock(mutex_);
    isOver_ = true;
  }
  ended_.notify_one();
  thread_.join();
}

void Waiting::run() {
  std::unique_lock<std::mutex> lock(mutex_);
  for (int seconds = 1; !ended_.wait_for(lock, kFirst, [this] { return isOver_; }); ++seconds)
    line_.show(what_ + ", " + std::to_string(seconds) + " s");
}

}  // namespace tool
