// A call works on copies of state and paper; both are stored when it succeeds. A refused call stores its result alone,
// which the status readings tell.
#include "printer/engine.h"

#include <string>

#include "common/calendar.h"
#include "common/codes.h"
#include "common/files.h"
#include "common/record.h"
#include "printer/commands.h"

namespace printer {

using namespace device;

namespace {

constexpr std::string_view kFormat = "impressora fiscal simulada 1";
constexpr std::size_t kLargestState = 4 << 20;

std::string written(State& state) {
  StateWriter writer;
  state.fields(writer);
  return writer.finish(kFormat);
}

/// Paper first, then the state: a printer that cannot print has not sold anything. When the state cannot be stored
/// the paper is taken back.
int store(const std::string& prefix, const Tape& tape, const std::string& content) {
  const std::string paper = prefix + "tape.txt";
  std::optional<long> before;
  if (!tape.printed().empty()) {
    before = appendFile(paper, tape.printed());
    if (!before) return kFileError;
  }
  if (replaceFile(prefix + "state.txt", content)) return kOk;
  if (before) truncateFile(paper, *before);
  return kFileError;
}

int handle(const Command& command, Printer& printer, Arguments& arguments) {
  if (!command.withoutPort && !printer.state.portOpen) return kPortClosed;
  return command.handler(printer, arguments);
}

}  // namespace

int run(std::string_view prefix, std::string_view function, Arguments& arguments, const std::tm& now) {
  const Command* const command = findCommand(function);
  if (command == nullptr) return kNoHandler;
  const std::string files = home() + std::string(prefix);
  const Lock lock(home() + std::string(prefix.substr(0, prefix.size() - 1)) + ".lock");
  if (!lock.held()) return kFileError;

  State state = State::fresh();
  std::string stored;
  if (const int result = loadState(files + "state.txt", kFormat, kLargestState, state, stored); result != 0) {
    return result;
  }
  const std::string before = written(state);
  State after = state;
  Tape tape;
  Printer printer{after, tape, files, shifted(moment(now), static_cast<long>(state.clockOffset))};
  const int result = handle(*command, printer, arguments);
  if (result < 0) {
    state.lastResult = result;
    state.lastMessage = std::string(function) + " " + std::to_string(result);
    const int kept = store(files, Tape(), written(state));
    return kept == kOk ? result : kept;
  }
  // A reading changes nothing, and costs no write.
  if (tape.printed().empty() && written(after) == before && !stored.empty()) return result;
  after.lastResult = kOk;
  after.lastMessage = std::string(function) + " " + std::to_string(result);
  const int kept = store(files, tape, written(after));
  return kept == kOk ? result : kept;
}

}  // namespace printer
