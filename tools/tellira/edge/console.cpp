// Words go to standard error after what was printed: both are often the same terminal.
#include "edge/console.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

#include "edge/masking.h"

namespace tool {
namespace {

bool wantsColour(int descriptor) {
  const char* refused = std::getenv("NO_COLOR");
  if (refused != nullptr && *refused != '\0') return false;
  const char* terminal = std::getenv("TERM");
  return isatty(descriptor) == 1 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

std::string wrapped(Style style, std::string_view text) {
  static constexpr std::array<const char*, 5> kCodes{"", "\033[1m", "\033[2m", "\033[32m", "\033[1;31m"};
  if (style == Style::kPlain) return std::string(text);
  return kCodes[static_cast<std::size_t>(style)] + std::string(text) + "\033[0m";
}

// Asked before a failure is told as JSON: two documents in one output would be none.
bool anyPrinted = false;

void write(FILE* stream, std::string_view text) {
  // A reader that went away (`| head`) ends the tool by SIGPIPE; any other failed write is told once at the end.
  std::fwrite(text.data(), 1, text.size(), stream);
}

}  // namespace

void print(std::string_view text) {
  printRaw(maskCards(text));
}

void printRaw(std::string_view text) {
  anyPrinted = anyPrinted || !text.empty();
  write(stdout, text);
}

bool hasPrinted() {
  return anyPrinted;
}

bool takeOutputFailure() {
  const bool failed = std::fflush(stdout) != 0 || std::ferror(stdout) != 0;
  // Told once: what is printed about it must not look like another failure.
  std::clearerr(stdout);
  return failed;
}

void note(std::string_view text) {
  std::fflush(stdout);
  write(stderr, maskCards(text) + "\n");
}

void complain(std::string_view text) {
  std::fflush(stdout);
  write(stderr, (wantsColour(STDERR_FILENO) ? wrapped(Style::kRed, "tellira:") : "tellira:") + " ");
  write(stderr, maskCards(text) + "\n");
}

std::string styled(Style style, std::string_view text) {
  static const bool colour = wantsColour(STDOUT_FILENO);
  return colour ? wrapped(style, text) : std::string(text);
}

}  // namespace tool
