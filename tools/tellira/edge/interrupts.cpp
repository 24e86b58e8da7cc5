// A handler only counts: whoever works looks at the count between two steps and decides.
#include "edge/interrupts.h"

namespace tool {
namespace {

// 0 none, 1 asked to end, 2 asked again; it does not go further, so that it cannot wrap.
volatile std::sig_atomic_t interrupted = 0;
void interrupt(int) {
  if (interrupted < 2) interrupted = interrupted + 1;
}

}  // namespace

Interrupts::Interrupts(Reading reading, Second second) {
  interrupted = 0;
  struct sigaction wait = {};
  wait.sa_handler = interrupt;
  wait.sa_flags = static_cast<int>((second == kEnds ? SA_RESETHAND : 0) | (reading == kGoesOn ? SA_RESTART : 0));
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    ::sigaction(kSignals[i], nullptr, &before_[i]);
    // Whoever started the tool without these signals, as in the background, wants it to go on.
    if (before_[i].sa_handler != SIG_IGN) ::sigaction(kSignals[i], &wait, nullptr);
  }
}

Interrupts::~Interrupts() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) ::sigaction(kSignals[i], &before_[i], nullptr);
}

void Interrupts::leaveToParent() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : kSignals) sigaddset(&signals, signal);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
}

bool Interrupts::asked() {
  return interrupted != 0;
}

bool Interrupts::askedAgain() {
  return interrupted > 1;
}

}  // namespace tool
