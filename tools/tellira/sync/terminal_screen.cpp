// ncurses draws: it knows every terminal, narrow ones and those that change their size included.
#include "sync/terminal_screen.h"

#include <unistd.h>

#include <langinfo.h>
#include <algorithm>
#include <array>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <deque>
#include <string>

#define NCURSES_WIDECHAR 1
#include <ncurses.h>

#include "edge/console.h"
#include "edge/terminal.h"
#include "screen/back_end.h"
#include "sync/sync_texts.h"
#include "text/text.h"

namespace tool {
namespace {

using vorne::SyncText;

constexpr int kEscape = 27;
constexpr std::size_t kLinesKept = 1000;

struct ProgressLine {
  std::string label;
  int percent = 0;
};

// What is to be seen; drawn anew whole, since ncurses sends only what has changed.
struct {
  FILE* terminal = nullptr;
  SCREEN* screen = nullptr;
  std::array<ProgressLine, 2> progress;
  std::string information;
  std::deque<std::string> states;
} shown;

std::string word(SyncText text) {
  return utf8FromLatin1(vorne::TextOf(text));
}

std::string oneLine(const char* latin1) {
  std::string line = utf8FromLatin1(latin1);
  std::replace_if(
      line.begin(), line.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; }, ' ');
  return std::string(trimmed(line));
}

void putLine(int row, int column, const std::string& utf8, int attributes = A_NORMAL) {
  if (row < 0 || row >= LINES || column >= COLS) return;
  attron(attributes);
  mvaddstr(row, column, cutTo(static_cast<std::size_t>(COLS - column), utf8).c_str());
  attroff(attributes);
}

void putBar(int row, int percent) {
  const int room = COLS - 9;
  if (room < 4) return;
  const int filled = std::clamp(percent, 0, 100) * room / 100;
  putLine(row, 1,
          "[" + std::string(static_cast<std::size_t>(filled), '#') +
              std::string(static_cast<std::size_t>(room - filled), '.') + "]");
  char number[8];
  std::snprintf(number, sizeof number, "%3d%%", std::clamp(percent, 0, 100));
  putLine(row, COLS - 5, number);
}

void putKeys(SyncText keys) {
  const std::string words = cutTo(static_cast<std::size_t>(std::max(COLS, 1)), " " + word(keys));
  putLine(LINES - 1, 0, words + std::string(static_cast<std::size_t>(COLS) - columns(words), ' '), A_REVERSE);
}

constexpr int kFirstState = 8;

void draw(SyncText keys = SyncText::KeysWhileRunning) {
  erase();
  putLine(0, 1, word(SyncText::Synchroniser), A_BOLD);
  for (std::size_t i = 0; i < shown.progress.size(); ++i) {
    const int row = 2 + static_cast<int>(i) * 2;
    putLine(row, 1, shown.progress[i].label);
    putBar(row + 1, shown.progress[i].percent);
  }
  putLine(6, 1, shown.information, A_BOLD);
  const int room = std::max(LINES - 1 - kFirstState, 0);
  const std::size_t count = std::min(shown.states.size(), static_cast<std::size_t>(room));
  for (std::size_t i = 0; i < count; ++i)
    putLine(kFirstState + static_cast<int>(i), 1, shown.states[shown.states.size() - count + i]);
  putKeys(keys);
  refresh();
}

// Keys have no meaning while a session runs, but a terminal that has changed its size tells it by one.
void drawAndListen() {
  while (getch() != ERR) {
  }
  draw();
}

void showProgress(int line, int percent, const char* text) {
  if (line < 1 || line > 2) return;
  ProgressLine& progress = shown.progress[static_cast<std::size_t>(line - 1)];
  progress.percent = percent;
  if (text != nullptr) progress.label = oneLine(text);
  drawAndListen();
}

void showState(const char* text) {
  const std::string line = oneLine(text);
  if (line.empty()) return;
  shown.states.push_back(line);
  if (shown.states.size() > kLinesKept) shown.states.pop_front();
  drawAndListen();
}

void showInformation(const char* text) {
  shown.information = oneLine(text);
  drawAndListen();
}

// The next key or character; `isKey` for a key. ERR when there is no more input.
int nextKey(bool& isKey) {
  nodelay(stdscr, FALSE);
  wint_t character = 0;
  const int kind = get_wch(&character);
  nodelay(stdscr, TRUE);
  isKey = kind == KEY_CODE_YES;
  return kind == ERR ? ERR : static_cast<int>(character);
}

bool ask(const char* question, const char* title) {
  const std::string before = shown.information;
  shown.information = (title == nullptr ? "" : oneLine(title) + ": ") + oneLine(question) + " (S/N)";
  int answer = 0;
  for (;;) {
    draw();
    bool isKey = false;
    answer = nextKey(isKey);
    if (answer == ERR || (!isKey && answer > 0 && answer < 0x80 && std::strchr("SsYyNn\n\r\033", answer) != nullptr))
      break;
  }
  shown.information = before;
  draw();
  return answer > 0 && std::strchr("SsYy", answer) != nullptr;
}

void drawForm(const char* title, std::span<const vorne::FormField> fields, std::size_t current) {
  erase();
  putLine(0, 1, oneLine(title), A_BOLD);
  std::size_t width = 0;
  for (const vorne::FormField& field : fields) width = std::max(width, columns(utf8FromLatin1(field.label)));
  for (std::size_t i = 0; i < fields.size(); ++i) {
    const int row = 2 + static_cast<int>(i);
    putLine(row, 1, utf8FromLatin1(fields[i].label));
    std::string text = utf8FromLatin1(fields[i].text);
    text += std::string(fields[i].room - std::min(fields[i].room, fields[i].text.size()), '_');
    putLine(row, static_cast<int>(width) + 2, text, i == current ? A_REVERSE : A_NORMAL);
  }
  putKeys(SyncText::KeysInForm);
  refresh();
}

bool form(const char* title, std::span<vorne::FormField> fields, const char*, const char*) {
  for (std::size_t current = 0;;) {
    drawForm(title, fields, current);
    std::string& text = fields[current].text;
    bool isKey = false;
    const int key = nextKey(isKey);
    if (key == ERR || (!isKey && key == kEscape)) return false;
    if (key == '\n' || key == '\r' || (isKey && key == KEY_ENTER)) return true;
    const bool goesBack = isKey && (key == KEY_UP || key == KEY_BTAB);
    if (key == '\t' || (isKey && key == KEY_DOWN))
      current = (current + 1) % fields.size();
    else if (goesBack)
      current = (current + fields.size() - 1) % fields.size();
    else if ((isKey && key == KEY_BACKSPACE) || key == 0x7F || key == '\b')
      text.resize(text.size() - std::min<std::size_t>(text.size(), 1));
    else if (!isKey && key >= ' ' && key <= 0xFF && text.size() < fields[current].room)
      text += static_cast<char>(key);
  }
}

void showLines(const char* title, int count, std::string (*line)(int number)) {
  for (int top = std::max(0, count - std::max(LINES - 3, 1));;) {
    const int room = std::max(LINES - 3, 1);
    top = std::clamp(top, 0, std::max(0, count - room));
    erase();
    putLine(0, 1, oneLine(title), A_BOLD);
    if (count == 0) putLine(2, 1, word(SyncText::LogIsEmpty));
    for (int i = 0; i < room && top + i < count; ++i) putLine(2 + i, 1, oneLine(line(top + i).c_str()));
    putKeys(SyncText::KeysInHistory);
    refresh();
    bool isKey = false;
    const int key = nextKey(isKey);
    if (key == ERR || (!isKey && (key == kEscape || key == 'q' || key == '\n'))) return;
    if (!isKey) continue;
    if (key == KEY_UP) --top;
    if (key == KEY_DOWN) ++top;
    if (key == KEY_PPAGE) top -= room;
    if (key == KEY_NPAGE) top += room;
    if (key == KEY_HOME) top = 0;
    if (key == KEY_END) top = count;
  }
}

}  // namespace

bool canShowScreen() {
  const char* terminal = std::getenv("TERM");
  return terminal != nullptr && *terminal != 0 && std::strcmp(terminal, "dumb") != 0 && ::isatty(STDIN_FILENO) == 1 &&
         ::isatty(STDERR_FILENO) == 1;
}

TerminalScreen::TerminalScreen() {
  // The texts are UTF-8 here, whatever the machine was set up for.
  std::setlocale(LC_CTYPE, "");
  if (std::strcmp(::nl_langinfo(CODESET), "UTF-8") != 0) std::setlocale(LC_CTYPE, "C.UTF-8");
  shown = {};
  // Not standard output, which belongs to the runtime meanwhile.
  shown.terminal = std::fopen("/dev/tty", "r+");
  shown.screen = shown.terminal == nullptr ? nullptr : newterm(nullptr, shown.terminal, shown.terminal);
  if (shown.screen == nullptr) {
    if (shown.terminal != nullptr) std::fclose(shown.terminal);
    throw Failure(kEnded, "the terminal cannot be used.\n  next: use --plain.");
  }
  cbreak();
  noecho();
  keypad(stdscr, TRUE);
  nodelay(stdscr, TRUE);
  set_escdelay(25);
  curs_set(0);
  vorne::screen = {showProgress, showState, showInformation, ask, form, showLines, drawAndListen};
}

TerminalScreen::~TerminalScreen() {
  vorne::screen = vorne::kTextScreen;
  endwin();
  delscreen(shown.screen);
  std::fclose(shown.terminal);
  std::setlocale(LC_CTYPE, "C");
}

}  // namespace tool
