// The vendor functions of the card terminal.
#include <algorithm>

#include "common/calendar.h"
#include "tef/terminal.h"

namespace tef {

using namespace device;

namespace {

constexpr std::string_view kTestCard = "4000000000000010";

bool plain(std::string_view text, std::size_t most) {
  return !text.empty() && text.size() <= most && text.find_first_of("\r\n") == std::string_view::npos;
}

int configure(Terminal& terminal, Arguments& arguments) {
  const std::string address = arguments.trimmed(0);
  const std::string shop = arguments.trimmed(1);
  const std::string name = arguments.trimmed(2);
  if (!plain(address, 64) || !plain(shop, 8) || !plain(name, 8)) return kBadArgument;
  State& state = terminal.state;
  state.address = address;
  state.shop = shop;
  state.terminal = name;
  state.configured = true;
  return kApproved;
}

/// Functions a dialogue begins with: where it starts, and whether an amount belongs to it.
struct Start {
  int function;
  Step step;
  Mode mode;
  bool amount;
};

constexpr Start kStarts[] = {
    {0, Step::kPaymentMenu, Mode::kCash, true},
    {2, Step::kCard, Mode::kDebit, true},
    {3, Step::kCreditMenu, Mode::kCash, true},
    {110, Step::kAdministration, Mode::kReversal, false},
};

int beginFunction(Terminal& terminal, Arguments& arguments) {
  const auto* const start = std::find_if(std::begin(kStarts), std::end(kStarts),
                                         [&](const Start& s) { return s.function == arguments.number(0); });
  if (start == std::end(kStarts)) return kBadArgument;
  const std::string text = arguments.trimmed(1);
  const auto amount = parseMoney(text.empty() ? "0" : text);
  if (!amount || *amount > 99'999'999) return kBadArgument;
  terminal.state.dialogue = Dialogue{};
  if (!readOccasion(terminal, arguments, 2)) return kBadArgument;
  terminal.state.dialogue.amount = start->amount ? *amount : 0;
  terminal.state.dialogue.menu = start->step == Step::kPaymentMenu;
  return begin(terminal, start->amount && *amount == 0 ? Step::kAmount : start->step, start->mode);
}

/// Confirms (1) or undoes (0) what the last dialogue left pending. Texts that are given must be those it began with.
int finish(Terminal& terminal, Arguments& arguments) {
  const int confirm = arguments.number(0);
  if (confirm != 0 && confirm != 1) return kBadArgument;
  Transaction* const transaction = pending(terminal.state);
  if (transaction == nullptr || terminal.state.dialogue.step != Step::kNone) return kNoDialogue;
  const std::string* const begun[] = {&transaction->coupon, &transaction->date, &transaction->time};
  for (std::size_t i = 0; i < std::size(begun); ++i) {
    const std::string given = arguments.trimmed(i + 1);
    if (!given.empty() && given != *begun[i]) return kUnknown;
  }
  transaction->standing = confirm == 1 ? Standing::kConfirmed : Standing::kUndone;
  if (confirm == 1 && transaction->reverses > 0) {
    Transaction* const old = findConfirmed(terminal.state, std::to_string(transaction->reverses));
    if (old != nullptr) old->standing = Standing::kReversed;
  }
  return kApproved;
}

/// Function 1 sends the data back, function 2 tells how the payment with the number in the data stands. Answers the
/// number of bytes written into the answer's place.
int sendDirect(Terminal& terminal, Arguments& arguments) {
  const std::string data = arguments.text(3);
  const int length = arguments.number(4);
  const int room = arguments.number(6);
  if (length < 0 || static_cast<std::size_t>(length) > data.size() || room < 1 || room > 4096) return kBadArgument;
  const std::string sent = data.substr(0, static_cast<std::size_t>(length));
  std::string answer;
  if (arguments.number(1) == 1) {
    answer = sent;
  } else if (arguments.number(1) == 2) {
    const auto number = parseInteger(trim(sent), 1, 999'999);
    const auto& all = terminal.state.transactions;
    const auto found =
        std::find_if(all.begin(), all.end(), [&](const Transaction& t) { return number && t.number == *number; });
    if (found == all.end()) return kUnknown;
    answer = digits(found->number, 6) + ";" + std::to_string(static_cast<int>(found->standing)) + ";" +
             money(found->amount) + ";";
  } else {
    return kBadArgument;
  }
  answer.resize(std::min(answer.size(), static_cast<std::size_t>(room) - 1));
  arguments.answer(5, answer);
  return static_cast<int>(answer.size());
}

/// Kind "0" bill, "1" bank slip; any other text tries both.
int validateCode(Terminal&, Arguments& arguments) {
  const std::string code = arguments.trimmed(0);
  const std::string kind = arguments.trimmed(1);
  if (kind == "0" || kind == "1") return checkCode(code, kind == "1");
  const int title = checkCode(code, true);
  return title == kApproved ? title : std::max(title, checkCode(code, false) == kApproved ? 0 : title);
}

int readCard(Terminal& terminal, Arguments& arguments) {
  State& state = terminal.state;
  if (state.interrupted) {
    state.interrupted = false;
    return kCancelled;
  }
  state.cardRead = true;
  arguments.answer(1, "B" + std::string(kTestCard) + "^CLIENTE SIMULADO^3012");
  arguments.answer(2, std::string(kTestCard) + "=3012");
  return kApproved;
}

/// Ends the reading of a card that waits, or keeps the next one from beginning.
int interruptCard(Terminal& terminal, Arguments&) {
  terminal.state.interrupted = true;
  return kApproved;
}

/// The customer types a number; it stays in the pin pad, under the key it was asked with.
int readPin(Terminal& terminal, Arguments& arguments) {
  const std::string key = arguments.trimmed(0);
  if (!plain(key, 64)) return kBadArgument;
  if (!terminal.state.cardRead) return kNoDialogue;
  terminal.state.pinKey = key;
  terminal.state.cardRead = false;
  return kApproved;
}

/// The customer agrees to everything but a cancellation.
int askCustomer(Terminal&, Arguments& arguments) {
  const std::string question = upper(arguments.trimmed(0));
  if (!plain(question, 64)) return kBadArgument;
  return question.find("CANCEL") == std::string::npos ? 1 : 0;
}

int permanentMessage(Terminal& terminal, Arguments& arguments) {
  const std::string message = arguments.trimmed(0);
  if (message.size() > 32) return kBadArgument;
  terminal.state.permanentMessage = message;
  return kApproved;
}

constexpr Function kFunctions[] = {
    {"ConfiguraIntSiTefInterativo", configure, true},
    {"IniciaFuncaoSiTefInterativo", beginFunction},
    {"ContinuaFuncaoSiTefInterativo", continueDialogue},
    {"FinalizaTransacaoSiTefInterativo", finish},
    {"EnviaRecebeSiTefDireto", sendDirect},
    {"CorrespondenteBancarioSiTefInterativo", beginSlip},
    {"ValidaCampoCodigoEmBarras", validateCode, true},
    {"VerificaPresencaPinPad", [](Terminal&, Arguments&) { return 1; }},
    {"EscreveMensagemPermanentePinPad", permanentMessage},
    {"IniciaFuncaoSiTefInterativoConsultaVidalink", beginPharmacyQuery},
    {"InformaProdutoVendaVidalink", addPharmacyProduct},
    {"IniciaFuncaoSiTefInterativoVendaVidalink", beginPharmacySale},
    {"IniciaFuncaoSiTefInterativoCancelamentoVidalink", beginPharmacyReversal},
    {"LeCartaoDireto", readCard},
    {"InterrompeLeCartaoDireto", interruptCard},
    {"LeSenhaDireto", readPin},
    {"LeSimNaoPinPad", askCustomer},
};

}  // namespace

const Function* findFunction(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kFunctions), std::end(kFunctions), [&](const Function& f) { return f.name == name; });
  return found == std::end(kFunctions) ? nullptr : found;
}

}  // namespace tef
