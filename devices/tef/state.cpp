// A state that was read is held against every bound before anything uses it.
#include "tef/state.h"

#include <algorithm>

namespace tef {

bool State::consistent() const {
  const auto known = [](Step step) { return step >= Step::kNone && step <= Step::kAnswers; };
  const auto sound = [](const Transaction& t) {
    return t.mode >= Mode::kCash && t.mode <= Mode::kPharmacy && t.standing >= Standing::kPending &&
           t.standing <= Standing::kReversed;
  };
  return known(dialogue.step) && std::all_of(history.begin(), history.end(), known) && dialogue.mode >= Mode::kCash &&
         dialogue.mode <= Mode::kPharmacy && history.size() <= kMostQuestions &&
         transactions.size() <= kMostTransactions && products.size() <= kMostProducts &&
         std::all_of(transactions.begin(), transactions.end(), sound);
}

}  // namespace tef
