// Ctrl-C and its kin while something must come to an orderly end.
#pragma once

#include <csignal>

#include <array>

namespace tool {

/// While it lives, a first Ctrl-C, SIGTERM or hang-up only asks to end; a second one ends the process, or asks to end
/// at once. A signal that whoever started the tool has it ignore, as nohup does, stays ignored. One at a time.
class Interrupts {
 public:
  /// Whether reading that waits goes on when it was asked to end, or returns with EINTR.
  enum Reading : bool { kGoesOn, kReturns };

  enum Second : bool { kEnds, kIsTold };

  explicit Interrupts(Reading reading = kGoesOn, Second second = kEnds);
  ~Interrupts();
  Interrupts(const Interrupts&) = delete;
  Interrupts& operator=(const Interrupts&) = delete;

  /// True once the tool was asked to end.
  static bool asked();
  /// True once it was asked a second time, where that is told.
  static bool askedAgain();
  /// Keeps the signals from this process for good. For a child: what it does is not to be cut short by a Ctrl-C that
  /// the terminal sends to it as well, or by a service that is stopped with all its processes.
  static void leaveToParent();

 private:
  static constexpr std::array<int, 3> kSignals{SIGINT, SIGTERM, SIGHUP};
  std::array<struct sigaction, kSignals.size()> before_{};
};

}  // namespace tool
