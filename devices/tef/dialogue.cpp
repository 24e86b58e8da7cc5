// The dialogue's course: asking, judging answers, going back, cancelling, handing out.
#include "tef/terminal.h"

namespace tef {

using namespace device;

namespace {

// Answers to one question; the last of them ends the dialogue.
constexpr int kMostWrong = 3;

const StepRow* findStep(Step step) {
  for (const auto find : {findPaymentStep, findSlipStep, findPharmacyStep}) {
    if (const StepRow* const row = find(step)) return row;
  }
  return nullptr;
}

void emit(Arguments& arguments, const Question& question) {
  arguments.answer(0, question.command);
  arguments.answer(1, question.type);
  arguments.answer(2, question.least);
  arguments.answer(3, question.most);
  arguments.answer(4, question.text);
}

int cancel(Terminal& terminal) {
  undoPending(terminal.state);
  terminal.state.dialogue = Dialogue{};
  terminal.state.history.clear();
  terminal.state.answers.clear();
  return kCancelled;
}

int handOut(Terminal& terminal, Arguments& arguments) {
  State& state = terminal.state;
  if (state.answers.empty()) {
    const int result = state.dialogue.result;
    state.dialogue = Dialogue{};
    state.history.clear();
    emit(arguments, {});
    return result;
  }
  const Answer answer = state.answers.front();
  state.answers.erase(state.answers.begin());
  emit(arguments, {answer.command, answer.type, 0, 0, answer.text});
  return kGoesOn;
}

int ask(Terminal& terminal, Arguments& arguments) {
  Dialogue& dialogue = terminal.state.dialogue;
  if (dialogue.step == Step::kAnswers) return handOut(terminal, arguments);
  Question question = findStep(dialogue.step)->ask(terminal);
  if (dialogue.wrong > 0 && question.command != kMenu) question.text = "INVALIDO. " + question.text;
  dialogue.asked = true;
  emit(arguments, question);
  return kGoesOn;
}

void judge(Terminal& terminal, const std::string& answer) {
  Dialogue& dialogue = terminal.state.dialogue;
  const StepRow& row = *findStep(dialogue.step);
  const Question question = row.ask(terminal);
  const bool fits = question.command != kReadField || (answer.size() >= static_cast<std::size_t>(question.least) &&
                                                       answer.size() <= static_cast<std::size_t>(question.most));
  const auto next = fits ? row.accept(terminal, answer) : std::nullopt;
  if (!next) {
    if (++dialogue.wrong >= kMostWrong) dialogue.step = refuse(terminal, kWrongAnswers, "DADO INVALIDO");
    return;
  }
  terminal.state.history.push_back(dialogue.step);
  dialogue.step = *next;
  dialogue.wrong = 0;
  dialogue.asked = false;
}

/// Back to the question before; from the first one the only way back is out.
bool stepBack(Terminal& terminal) {
  Dialogue& dialogue = terminal.state.dialogue;
  if (dialogue.step == Step::kAnswers) return true;  // what is decided is handed out
  if (terminal.state.history.empty()) return false;
  dialogue.step = terminal.state.history.back();
  terminal.state.history.pop_back();
  dialogue.wrong = 0;
  return true;
}

}  // namespace

int continueDialogue(Terminal& terminal, Arguments& arguments) {
  Dialogue& dialogue = terminal.state.dialogue;
  // The size in place 5 is no limit: callers pass the length of the text before they enlarged its buffer.
  const int flag = arguments.number(6);
  if (dialogue.step == Step::kNone) return kNoDialogue;
  if (flag < -1 || flag > 1) return kBadArgument;
  if (flag == -1) return cancel(terminal);
  if (flag == 1) {
    if (!stepBack(terminal)) return cancel(terminal);
  } else if (dialogue.step != Step::kAnswers && dialogue.asked) {
    judge(terminal, arguments.trimmed(4));
  }
  return ask(terminal, arguments);
}

}  // namespace tef
