// The dialogue lives in the state file between calls: each call reads it, goes one step and stores it.
#include "tef/engine.h"

#include <string>

#include "common/calendar.h"
#include "common/codes.h"
#include "common/files.h"
#include "common/record.h"
#include "tef/terminal.h"

namespace tef {

using namespace device;

namespace {

constexpr std::string_view kFormat = "terminal tef simulado 1";
constexpr std::size_t kLargestState = 1 << 20;

}  // namespace

int run(std::string_view function, Arguments& arguments, const std::tm& now) {
  const Function* const called = findFunction(function);
  if (called == nullptr) return kNoHandler;
  const std::string path = home() + "tef-state.txt";
  const Lock lock(home() + "tef.lock");
  if (!lock.held()) return kFileError;
  State state;
  std::string stored;
  if (const int result = loadState(path, kFormat, kLargestState, state, stored); result != 0) return result;
  if (!called->unconfigured && !state.configured) return kNotConfigured;
  const State before = state;
  Terminal terminal{state, moment(now)};
  const int result = called->handler(terminal, arguments);
  // A refused call leaves the dialogue as it was; only a cancelled one ends with a negative result of its own.
  const bool beginning = result == kBadArgument || result == kUnknown || result == kFull;
  if (beginning && called->handler != continueDialogue) state = before;
  StateWriter writer;
  state.fields(writer);
  const std::string content = writer.finish(kFormat);
  if (content != stored && !replaceFile(path, content)) return kFileError;
  return result;
}

}  // namespace tef
