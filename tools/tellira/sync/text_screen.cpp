#include "sync/text_screen.h"

#include <unistd.h>

#include <array>
#include <cstring>
#include <iostream>
#include <string>

#include "edge/console.h"
#include "screen/back_end.h"
#include "text/text.h"

namespace tool {
namespace {

std::array<std::string, 2> labels;

void tellLine(const char* latin1) {
  const std::string line = utf8FromLatin1(latin1);
  if (!trimmed(line).empty()) note(trimmed(line));
}

void tellProgress(int line, int percent, const char* text) {
  if (text == nullptr || line < 1 || line > 2) return;
  std::string& label = labels[static_cast<std::size_t>(line - 1)];
  if (label == text) return;
  label = text;
  const std::string shown = utf8FromLatin1(text);
  if (trimmed(shown).empty()) return;
  note(line == 1 ? std::to_string(percent) + "% " + std::string(trimmed(shown)) : "  " + std::string(trimmed(shown)));
}

// Where nobody is there to answer, the next session tries again.
bool ask(const char* question, const char*) {
  if (::isatty(STDIN_FILENO) != 1 || ::isatty(STDERR_FILENO) != 1) return false;
  note(utf8FromLatin1(question) + " (S/N)");
  std::string answer;
  std::getline(std::cin, answer);
  return !answer.empty() && std::strchr("SsYy", answer[0]) != nullptr;
}

}  // namespace

TextScreen::TextScreen() {
  labels = {};
  vorne::screen = vorne::kTextScreen;
  vorne::screen.progress = tellProgress;
  vorne::screen.state = tellLine;
  vorne::screen.ask = ask;
}

TextScreen::~TextScreen() {
  vorne::screen = vorne::kTextScreen;
}

}  // namespace tool
