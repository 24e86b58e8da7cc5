// Pharmacy benefits: a query gives an authorization, products are added to it, a sale uses it, a reversal undoes it.
#include "tef/terminal.h"

namespace tef {

using namespace device;

namespace {

Question askCard(const Terminal&) {
  return {kReadField, kPharmacyCardField, 6, 19, "CARTAO DO CONVENIO"};
}

/// The benefit exists: its authorization is made and its list of products begins.
Step authorize(Terminal& terminal, const std::string& card) {
  State& state = terminal.state;
  state.lastNumber = state.lastNumber % 999'999 + 1;
  state.authorization = digits(state.lastNumber * 31 + 500'000, 9);
  state.products.clear();
  state.dialogue.card = maskedCard(card);
  return finishWith(terminal, {{kShowBoth, kPlain, "CONSULTANDO CONVENIO"},
                               {kClearBoth, kPlain, ""},
                               {kTake, kPharmacyNumber, state.authorization},
                               {kShowOperator, kPlain, "CONVENIO AUTORIZADO"}});
}

bool validBenefitCard(const std::string& card) {
  return allDigits(card) && card.size() >= 6 && card.size() <= 19;
}

std::optional<Step> takeCard(Terminal& terminal, const std::string& answer) {
  if (!validBenefitCard(answer)) return std::nullopt;
  return authorize(terminal, answer);
}

Question askConfirm(const Terminal& terminal) {
  const Dialogue& dialogue = terminal.state.dialogue;
  const std::string what = dialogue.reverses > 0 ? "CANCELAMENTO" : "VENDA";
  return {kYesNo, kPlain, 1, 1, "CONFIRMA " + what + " DE R$ " + money(dialogue.amount) + "?"};
}

std::optional<Step> takeConfirm(Terminal& terminal, const std::string& answer) {
  const auto agreed = yes(answer);
  if (!agreed) return std::nullopt;
  if (!*agreed) return refuse(terminal, kCancelled, "NAO CONFIRMADO");
  if (terminal.state.dialogue.reverses == 0) {
    terminal.state.authorization.clear();
    terminal.state.products.clear();
  }
  return approve(terminal);
}

constexpr StepRow kSteps[] = {
    {Step::kPharmacyCard, askCard, takeCard},
    {Step::kConfirmPharmacy, askConfirm, takeConfirm},
};

}  // namespace

int beginPharmacyQuery(Terminal& terminal, Arguments& arguments) {
  const std::string card = arguments.trimmed(1);
  if (arguments.trimmed(0).empty() || (!card.empty() && !validBenefitCard(card))) return kBadArgument;
  terminal.state.dialogue = Dialogue{};
  if (!readOccasion(terminal, arguments, 2)) return kBadArgument;
  const int result = begin(terminal, Step::kPharmacyCard, Mode::kPharmacy);
  if (!card.empty()) terminal.state.dialogue.step = authorize(terminal, card);
  return result;
}

int addPharmacyProduct(Terminal& terminal, Arguments& arguments) {
  State& state = terminal.state;
  const std::string code = arguments.trimmed(1);
  const auto price = parseMoney(arguments.trimmed(3));
  const int quantity = arguments.number(2);
  if (state.authorization.empty()) return kNoDialogue;
  if (!allDigits(code) || code.size() > 14 || quantity < 1 || quantity > 999 || !price || *price > 9'999'999) {
    return kBadArgument;
  }
  if (state.products.size() >= kMostProducts) return kFull;
  if (arguments.number(0) != static_cast<int>(state.products.size()) + 1) return kBadArgument;  // in their order
  state.products.push_back({code, quantity, *price});
  return kApproved;
}

int beginPharmacySale(Terminal& terminal, Arguments& arguments) {
  State& state = terminal.state;
  if (state.authorization.empty() || arguments.trimmed(0) != state.authorization) return kUnknown;
  if (state.products.empty() || arguments.number(1) != static_cast<int>(state.products.size())) return kBadArgument;
  state.dialogue = Dialogue{};
  if (!readOccasion(terminal, arguments, 2)) return kBadArgument;
  for (const Product& product : state.products) state.dialogue.amount += product.price * product.quantity;
  state.dialogue.amount = scaled(state.dialogue.amount, 80, 100, true);  // the benefit bears a fifth
  return begin(terminal, Step::kConfirmPharmacy, Mode::kPharmacy);
}

int beginPharmacyReversal(Terminal& terminal, Arguments& arguments) {
  const Transaction* const old = findConfirmed(terminal.state, std::to_string(arguments.number(0)));
  if (old == nullptr || old->mode != Mode::kPharmacy) return kUnknown;
  Dialogue fresh;
  fresh.reverses = old->number;
  fresh.amount = old->amount;
  terminal.state.dialogue = fresh;
  if (!readOccasion(terminal, arguments, 1)) return kBadArgument;
  return begin(terminal, Step::kConfirmPharmacy, Mode::kReversal);
}

const StepRow* findPharmacyStep(Step step) {
  for (const StepRow& row : kSteps) {
    if (row.step == step) return &row;
  }
  return nullptr;
}

}  // namespace tef
