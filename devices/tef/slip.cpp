// Payment of bank slips and bills at the cash desk.
#include "tef/terminal.h"

namespace tef {

using namespace device;

namespace {

Question askMenu(const Terminal&) {
  return {kMenu, kMenuType, 1, 1, "1:Titulo bancario;2:Conta de consumo;"};
}

std::optional<Step> takeMenu(Terminal& terminal, const std::string& answer) {
  if (answer != "1" && answer != "2") return std::nullopt;
  terminal.state.dialogue.title = answer == "1";
  return Step::kSlipCode;
}

Question askCode(const Terminal&) {
  return {kReadField, kCodeField, 44, 48, "CODIGO DE BARRAS"};
}

std::optional<Step> takeCode(Terminal& terminal, const std::string& answer) {
  Dialogue& dialogue = terminal.state.dialogue;
  if (checkCode(answer, dialogue.title) != kApproved) return std::nullopt;
  dialogue.code = answer;
  dialogue.amount = amountOfCode(answer, dialogue.title);
  return dialogue.amount > 0 ? Step::kConfirmSlip : Step::kSlipAmount;
}

Question askAmount(const Terminal&) {
  return {kReadAmount, kAmountField, 1, 12, "VALOR DO DOCUMENTO"};
}

std::optional<Step> takeAmount(Terminal& terminal, const std::string& answer) {
  const auto amount = parseMoney(answer);
  if (!amount || *amount < 1 || *amount > 99'999'999) return std::nullopt;
  terminal.state.dialogue.amount = *amount;
  return Step::kConfirmSlip;
}

Question askConfirm(const Terminal& terminal) {
  return {kYesNo, kPlain, 1, 1, "CONFIRMA PAGAMENTO DE R$ " + money(terminal.state.dialogue.amount) + "?"};
}

std::optional<Step> takeConfirm(Terminal& terminal, const std::string& answer) {
  const auto agreed = yes(answer);
  if (!agreed) return std::nullopt;
  return *agreed ? approve(terminal) : refuse(terminal, kCancelled, "PAGAMENTO NAO CONFIRMADO");
}

constexpr StepRow kSteps[] = {
    {Step::kSlipMenu, askMenu, takeMenu},
    {Step::kSlipCode, askCode, takeCode},
    {Step::kSlipAmount, askAmount, takeAmount},
    {Step::kConfirmSlip, askConfirm, takeConfirm},
};

}  // namespace

int beginSlip(Terminal& terminal, Arguments& arguments) {
  terminal.state.dialogue = Dialogue{};
  if (!readOccasion(terminal, arguments, 0)) return kBadArgument;
  return begin(terminal, Step::kSlipMenu, Mode::kSlip);
}

const StepRow* findSlipStep(Step step) {
  for (const StepRow& row : kSteps) {
    if (row.step == step) return &row;
  }
  return nullptr;
}

}  // namespace tef
