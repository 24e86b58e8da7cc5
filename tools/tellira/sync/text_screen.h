// A session's screen without a terminal: one line a change on standard error, and nothing is asked.
#pragma once

#include <string>

namespace tool {

/// In place of the runtime's screen while it lives. One at a time.
class TextScreen {
 public:
  TextScreen();
  ~TextScreen();
  TextScreen(const TextScreen&) = delete;
  TextScreen& operator=(const TextScreen&) = delete;
};

}  // namespace tool
