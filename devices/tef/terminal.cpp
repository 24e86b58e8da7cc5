// At most one transaction is pending: a new dialogue undoes one that was never confirmed.
#include "tef/terminal.h"

#include <algorithm>

#include "common/calendar.h"

namespace tef {

using namespace device;

int begin(Terminal& terminal, Step step, Mode mode) {
  State& state = terminal.state;
  undoPending(state);
  state.history.clear();
  state.answers.clear();
  state.dialogue.step = step;
  state.dialogue.mode = mode;
  return kGoesOn;
}

bool readOccasion(Terminal& terminal, Arguments& arguments, std::size_t first) {
  Dialogue& dialogue = terminal.state.dialogue;
  dialogue.coupon = arguments.trimmed(first);
  dialogue.date = arguments.trimmed(first + 1);
  dialogue.time = arguments.trimmed(first + 2);
  return dialogue.coupon.size() <= 20 && parseMoment(dialogue.date + dialogue.time).has_value();
}

Step finishWith(Terminal& terminal, std::vector<Answer> answers) {
  terminal.state.answers = std::move(answers);
  return Step::kAnswers;
}

Step refuse(Terminal& terminal, int result, const std::string& message) {
  terminal.state.dialogue.result = result;
  return finishWith(terminal, {{kClearBoth, kPlain, ""}, {kWaitKey, kPlain, message}});
}

std::optional<bool> yes(const std::string& answer) {
  if (answer != "0" && answer != "1") return std::nullopt;
  // 0 is yes and 1 is no.
  return answer == "0";
}

Transaction* pending(State& state) {
  const auto found = std::find_if(state.transactions.begin(), state.transactions.end(),
                                  [](const Transaction& t) { return t.standing == Standing::kPending; });
  return found == state.transactions.end() ? nullptr : &*found;
}

void undoPending(State& state) {
  if (Transaction* const transaction = pending(state)) transaction->standing = Standing::kUndone;
}

Transaction* findConfirmed(State& state, std::string_view number) {
  const auto wanted = parseInteger(number, 1, 999'999);
  const auto found = std::find_if(state.transactions.begin(), state.transactions.end(), [&](const Transaction& t) {
    return wanted && t.number == *wanted && t.standing == Standing::kConfirmed && t.mode != Mode::kReversal;
  });
  return found == state.transactions.end() ? nullptr : &*found;
}

}  // namespace tef
