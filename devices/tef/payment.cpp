// Card payments and administration: menu, card, validity, instalments; reversal, reprint, test.
#include "tef/terminal.h"

namespace tef {

using namespace device;

namespace {

constexpr Cents kLimit = 500'000;  ///< R$ 5.000,00
constexpr std::string_view kRefusedEnding = "0002";

Step firstStepOf(Mode mode) {
  return mode == Mode::kDebit ? Step::kCard : Step::kCreditMenu;
}

Question askAmount(const Terminal&) {
  return {kReadAmount, kAmountField, 1, 12, "VALOR DA TRANSACAO"};
}

std::optional<Step> takeAmount(Terminal& terminal, const std::string& answer) {
  const auto amount = parseMoney(answer);
  if (!amount || *amount < 1 || *amount > 99'999'999) return std::nullopt;
  terminal.state.dialogue.amount = *amount;
  return terminal.state.dialogue.menu ? Step::kPaymentMenu : firstStepOf(terminal.state.dialogue.mode);
}

Question askPaymentMenu(const Terminal&) {
  return {kMenu, kMenuType, 1, 1, "1:Credito a vista;2:Credito parcelado;3:Debito;"};
}

Question askCreditMenu(const Terminal&) {
  return {kMenu, kMenuType, 1, 1, "1:Credito a vista;2:Credito parcelado;"};
}

template <int kChoices>
std::optional<Step> takeMode(Terminal& terminal, const std::string& answer) {
  const auto choice = parseInteger(answer, 1, kChoices);
  if (!choice) return std::nullopt;
  terminal.state.dialogue.mode = static_cast<Mode>(*choice - 1);
  return Step::kCard;
}

Question askCard(const Terminal&) {
  return {kReadField, kCardField, 13, 19, "NUMERO DO CARTAO"};
}

std::optional<Step> takeCard(Terminal& terminal, const std::string& answer) {
  if (!validCardNumber(answer)) return std::nullopt;
  terminal.state.dialogue.card = maskedCard(answer);
  return Step::kValidity;
}

Question askValidity(const Terminal&) {
  return {kReadField, kValidityField, 4, 4, "VALIDADE (MMAA)"};
}

/// The terminal asks the host only when it knows everything; the host's rules are here.
Step authorize(Terminal& terminal) {
  const Dialogue& dialogue = terminal.state.dialogue;
  // MMAA turned into AAMM, which compares as a text.
  const std::string month = dialogue.validity.substr(2) + dialogue.validity.substr(0, 2);
  if (month < terminal.now.substr(2, 4)) return refuse(terminal, kRefused, "CARTAO VENCIDO");
  if (dialogue.card.ends_with(kRefusedEnding)) return refuse(terminal, kRefused, "CARTAO NAO AUTORIZADO");
  if (dialogue.amount > kLimit) return refuse(terminal, kRefused, "VALOR ACIMA DO LIMITE");
  return approve(terminal);
}

std::optional<Step> takeValidity(Terminal& terminal, const std::string& answer) {
  if (!allDigits(answer) || !parseInteger(answer.substr(0, 2), 1, 12)) return std::nullopt;
  terminal.state.dialogue.validity = answer;
  terminal.state.dialogue.instalments = 1;
  return terminal.state.dialogue.mode == Mode::kInstalments ? Step::kInstalments : authorize(terminal);
}

Question askInstalments(const Terminal&) {
  return {kReadField, kInstalmentsField, 1, 2, "NUMERO DE PARCELAS (2 A 12)"};
}

std::optional<Step> takeInstalments(Terminal& terminal, const std::string& answer) {
  const auto count = parseInteger(answer, 2, 12);
  if (!count) return std::nullopt;
  terminal.state.dialogue.instalments = static_cast<int>(*count);
  return authorize(terminal);
}

Question askAdministration(const Terminal&) {
  return {kMenu, kMenuType, 1, 1, "1:Cancelamento;2:Reimpressao;3:Teste de comunicacao;"};
}

std::optional<Step> takeAdministration(Terminal& terminal, const std::string& answer) {
  const State& state = terminal.state;
  if (answer == "1") return Step::kOldNumber;
  if (answer == "2") {
    if (state.firstCopy.empty()) return refuse(terminal, kUnknown, "NADA A REIMPRIMIR");
    return finishWith(terminal, {{kTake, kFirstCopy, state.firstCopy}, {kTake, kSecondCopy, state.secondCopy}});
  }
  if (answer != "3") return std::nullopt;
  return finishWith(terminal, {{kShowBoth, kPlain, "COMUNICACAO OK"}, {kClearBoth, kPlain, ""}});
}

Question askOldNumber(const Terminal&) {
  return {kReadField, kOldNumberField, 1, 6, "NSU DA TRANSACAO"};
}

std::optional<Step> takeOldNumber(Terminal& terminal, const std::string& answer) {
  const Transaction* const old = findConfirmed(terminal.state, answer);
  if (old == nullptr) return std::nullopt;
  Dialogue& dialogue = terminal.state.dialogue;
  dialogue.reverses = old->number;
  dialogue.amount = old->amount;
  dialogue.card = old->card;
  dialogue.mode = Mode::kReversal;
  return Step::kConfirmReversal;
}

Question askConfirmReversal(const Terminal& terminal) {
  const Dialogue& dialogue = terminal.state.dialogue;
  return {kYesNo, kPlain, 1, 1,
          "CONFIRMA CANCELAMENTO DO NSU " + digits(dialogue.reverses, 6) + " DE R$ " + money(dialogue.amount) + "?"};
}

std::optional<Step> takeConfirmReversal(Terminal& terminal, const std::string& answer) {
  const auto agreed = yes(answer);
  if (!agreed) return std::nullopt;
  return *agreed ? approve(terminal) : refuse(terminal, kCancelled, "CANCELAMENTO NAO CONFIRMADO");
}

constexpr StepRow kSteps[] = {
    {Step::kAmount, askAmount, takeAmount},
    {Step::kPaymentMenu, askPaymentMenu, takeMode<3>},
    {Step::kCreditMenu, askCreditMenu, takeMode<2>},
    {Step::kCard, askCard, takeCard},
    {Step::kValidity, askValidity, takeValidity},
    {Step::kInstalments, askInstalments, takeInstalments},
    {Step::kAdministration, askAdministration, takeAdministration},
    {Step::kOldNumber, askOldNumber, takeOldNumber},
    {Step::kConfirmReversal, askConfirmReversal, takeConfirmReversal},
};

}  // namespace

const StepRow* findPaymentStep(Step step) {
  for (const StepRow& row : kSteps) {
    if (row.step == step) return &row;
  }
  return nullptr;
}

}  // namespace tef
