// Error texts have one form everywhere, "what: why" and a line "next: ..."; the JSON form is that text taken apart.
#include "edge/failure_report.h"

#include "edge/masking.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr std::string_view kNext = "\n  next: ";
constexpr std::string_view kWhy = "why:";

Json partJson(std::string_view text) {
  const std::string_view part = trimmed(text);
  return part.empty() ? Json() : Json(maskCards(part));
}

/// Where the first line parts into what and why; its end when it does not.
std::size_t endOfWhat(std::string_view line) {
  bool quoted = false;
  for (std::size_t i = 0; i + 1 < line.size(); ++i) {
    // What the user gave may hold a colon of its own.
    if (line[i] == '"') quoted = !quoted;
    if (!quoted && line[i] == ':' && line[i + 1] == ' ') return i;
  }
  return line.size();
}

/// The lines of a cause without their indentation.
std::string causeOf(std::string_view rest) {
  std::string cause;
  for (const std::string& line : split(rest, '\n')) {
    std::string_view words = trimmed(line);
    if (words.starts_with(kWhy)) words = trimmed(words.substr(kWhy.size()));
    if (!words.empty()) cause += (cause.empty() ? "" : "\n") + std::string(words);
  }
  return cause;
}

}  // namespace

Json failureJson(std::string_view text) {
  const std::size_t next = std::min(text.rfind(kNext), text.size());
  const std::string_view told = text.substr(0, next);
  const std::string_view line = told.substr(0, told.find('\n'));
  // A text that gives its reason in a line of its own has all of the first line for what happened.
  const std::size_t end = told.find("\n  " + std::string(kWhy)) < told.size() ? line.size() : endOfWhat(line);
  const std::size_t rest = std::min(end == line.size() ? end : end + 1, told.size());
  return {{"what", partJson(told.substr(0, end))},
          {"cause", partJson(causeOf(told.substr(rest)))},
          {"next", partJson(text.substr(std::min(next + kNext.size(), text.size())))}};
}

Failure memoryFailure() {
  return {kEnded, "stopped: there is not enough memory.\n  next: end other programs, or ask for less at once."};
}

int reportFailure(const Failure& failure, bool json) {
  complain(failure.what());
  if (json && !hasPrinted()) printJson({{"error", failureJson(failure.what())}});
  return failure.status;
}

}  // namespace tool
