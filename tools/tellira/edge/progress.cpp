#include "edge/progress.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "edge/terminal.h"
#include "text/text.h"

namespace tool {

namespace {

// What is done within a second needs no line that comes and goes.
constexpr auto kFirst = std::chrono::seconds(1);
constexpr auto kBetween = std::chrono::milliseconds(200);
constexpr std::size_t kUsualWidth = 80;

}  // namespace

Progress::Progress(const char* unit, double size)
    : unit_(unit), size_(size), terminal_(isatty(STDERR_FILENO) == 1), start_(Clock::now()), next_(start_ + kFirst) {}

Progress::~Progress() {
  if (shown_ == 0) return;
  write("");
  // What is printed next begins where the line was.
  std::fputc('\r', stderr);
}

bool Progress::isDue() {
  if (!terminal_ || Clock::now() < next_) return false;
  next_ = Clock::now() + kBetween;
  return true;
}

double Progress::seconds() const {
  return std::chrono::duration<double>(Clock::now() - start_).count();
}

// Blanks instead of a terminal's own way of clearing a line: not every terminal has one. The last column stays free,
// since writing there makes some terminals go to the next line.
void Progress::write(const std::string& line) {
  const std::size_t width = terminalWidth(STDERR_FILENO);
  const std::string text = cutTo((width == 0 ? kUsualWidth : width) - 1, line);
  const std::size_t before = std::exchange(shown_, columns(text));
  std::fprintf(stderr, "\r%s%*s", text.c_str(), static_cast<int>(before - std::min(before, shown_)), "");
  std::fflush(stderr);
}

void Progress::show(const std::string& label, std::uint64_t done, std::uint64_t all) {
  if (!isDue()) return;
  const double units = static_cast<double>(done) / size_;
  char text[100];
  std::snprintf(text, sizeof text, "%.0f of %.0f %s, %.0f %s/s, ", units,
                static_cast<double>(std::max(done, all)) / size_, unit_, units / seconds(), unit_);
  write(text + label);
}

void Progress::show(const std::string& label) {
  if (isDue()) write(std::to_string(static_cast<long>(seconds())) + " s, " + label);
}

Working::Working(std::string label) : label_(std::move(label)) {
  if (isatty(STDERR_FILENO) != 1) return;
  // The thread must not be the one that a signal interrupts.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  thread_ = std::thread(&Working::run, this);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Working::~Working() {
  {
    const std::lock_guard lock(mutex_);
    isEnded_ = true;
  }
  ended_.notify_one();
  if (thread_.joinable()) thread_.join();
}

void Working::run() {
  Progress progress;
  std::unique_lock lock(mutex_);
  while (!ended_.wait_for(lock, kBetween, [this] { return isEnded_; })) progress.show(label_);
}

}  // namespace tool
