// A session's screen on a terminal: two live bars, the state lines scrolling below, the keys at the bottom.
#pragma once

namespace tool {

/// True when somebody sits at a terminal that can show it: standard input and error are one, and TERM knows how.
bool canShowScreen();

/// In place of the runtime's screen while it lives. One at a time.
class TerminalScreen {
 public:
  /// @throws Failure (kEnded) when the terminal cannot be used
  TerminalScreen();
  ~TerminalScreen();
  TerminalScreen(const TerminalScreen&) = delete;
  TerminalScreen& operator=(const TerminalScreen&) = delete;
};

}  // namespace tool
