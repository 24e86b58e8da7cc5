// What an approved dialogue hands out: the messages, the data and the receipt in two copies.
#include "common/calendar.h"
#include "tef/terminal.h"

namespace tef {

using namespace device;

namespace {

constexpr std::size_t kColumns = 40;

std::string centred(std::string_view text) {
  return std::string((kColumns - text.size()) / 2, ' ') + std::string(text) + "\n";
}

/// Made-up brands by the first digit.
std::string brandOf(std::string_view card) {
  constexpr std::string_view kBrands[] = {"OUTRA", "OUTRA", "OUTRA", "AZUL",  "CRUZEIRO",
                                          "IPE",   "ARARA", "OUTRA", "OUTRA", "OUTRA"};
  return std::string(card.empty() || card[0] < '0' || card[0] > '9' ? "OUTRA" : kBrands[card[0] - '0']);
}

std::string receipt(const Terminal& terminal, const Transaction& transaction, std::string_view copy) {
  std::string text = centred("MERCADO TUCANO LTDA") + centred(copy);
  text += padded(modeName(transaction.mode), 25) + "TERM " + terminal.state.terminal.substr(0, 8) + "\n";
  if (!transaction.card.empty()) text += "CARTAO: " + transaction.card + " " + brandOf(transaction.card) + "\n";
  text += "VALOR: R$ " + money(transaction.amount) + "\n";
  if (transaction.instalments > 1) text += "PARCELAS: " + digits(transaction.instalments, 2) + "\n";
  if (transaction.reverses > 0) text += "CANCELA NSU: " + digits(transaction.reverses, 6) + "\n";
  text += "NSU: " + digits(transaction.number, 6) + "  AUT: " + transaction.authorization + "\n";
  text += printedDate(terminal.now) + " " + printedTime(terminal.now) + "  CUPOM " + transaction.coupon + "\n";
  return text;
}

/// The authorization code follows from the number, so that a repeated run gives the same paper.
std::string authorizationOf(std::int64_t number) {
  return digits(100'000 + number * 7919 % 900'000, 6);
}

}  // namespace

std::string modeName(Mode mode) {
  constexpr std::string_view kNames[] = {"CREDITO A VISTA",       "CREDITO PARCELADO",  "DEBITO",
                                         "CANCELAMENTO DE VENDA", "PAGAMENTO DE CONTA", "FARMACIA CONVENIO"};
  return std::string(kNames[static_cast<std::size_t>(mode)]);
}

Step approve(Terminal& terminal) {
  State& state = terminal.state;
  Dialogue& dialogue = state.dialogue;
  Transaction transaction;
  // Six digits, and never 0: that stands for none.
  transaction.number = state.lastNumber = state.lastNumber % 999'999 + 1;
  transaction.mode = dialogue.mode;
  transaction.amount = dialogue.amount;
  transaction.instalments = dialogue.instalments;
  transaction.reverses = dialogue.reverses;
  transaction.card = dialogue.card;
  transaction.authorization = authorizationOf(transaction.number);
  transaction.coupon = dialogue.coupon;
  transaction.date = dialogue.date;
  transaction.time = dialogue.time;
  if (state.transactions.size() >= kMostTransactions) state.transactions.erase(state.transactions.begin());
  state.transactions.push_back(transaction);
  state.firstCopy = receipt(terminal, transaction, "VIA DO CLIENTE");
  state.secondCopy = receipt(terminal, transaction, "VIA DO ESTABELECIMENTO");
  dialogue.result = kApproved;
  return finishWith(terminal, {{kShowBoth, kPlain, "TRANSACAO EM PROCESSAMENTO"},
                               {kClearBoth, kPlain, ""},
                               {kTake, kModeName, modeName(transaction.mode)},
                               {kTake, kBrand, brandOf(transaction.card)},
                               {kTake, kNumber, digits(transaction.number, 6)},
                               {kTake, kAuthorization, transaction.authorization},
                               {kTake, kFirstCopy, state.firstCopy},
                               {kTake, kSecondCopy, state.secondCopy},
                               {kShowOperator, kPlain, "TRANSACAO APROVADA"},
                               {kClearBoth, kPlain, ""}});
}

}  // namespace tef
