// Readings of the printer's condition: status words, flags, what the last command came to.
#include <array>

#include "printer/commands.h"
#include "printer/readings.h"

namespace printer {

using namespace device;

namespace {

constexpr int kAcknowledged = 6;
constexpr int kRefused = 21;

bool pendingReduction(const Printer& printer) {
  return printer.state.day.open && !printer.state.day.opened.starts_with(printer.today());
}

/// Acknowledgement of the last command, then two words of condition bits.
struct Words {
  int acknowledgement, first, second, code;
};

/// First word: 1 drawer open, 2 coupon open, 4 another document open, 8 day open. Second word: 1 Z reduction
/// pending, 2 day closed, 4 memory full, 8 card mode, 16 keyboard locked.
Words words(const Printer& printer) {
  const State& state = printer.state;
  const bool coupon = state.open.kind == Kind::kCoupon;
  const bool other = state.open.kind != Kind::kNone && !coupon;
  Words result{};
  result.acknowledgement = state.lastResult < 0 ? kRefused : kAcknowledged;
  result.first = (state.drawerOpen ? 1 : 0) | (coupon ? 2 : 0) | (other ? 4 : 0) | (state.day.open ? 8 : 0);
  result.second = (pendingReduction(printer) ? 1 : 0) | (state.closedDate == printer.today() ? 2 : 0) |
                  (state.reductions.size() >= kMostReductions ? 4 : 0) | (state.tefMode ? 8 : 0) |
                  (state.keyboardLocked ? 16 : 0);
  result.code = state.lastResult < 0 ? -state.lastResult : 0;
  return result;
}

/// What the last command came to: acknowledgement, 0, and the number of its refusal without sign.
int lastAnswer(Printer& printer, Arguments& arguments) {
  const Words now = words(printer);
  const std::array values{now.acknowledgement, 0, now.code, printer.state.lastResult};
  for (std::size_t i = 0; i < arguments.size(); ++i) arguments.answer(i, values[i]);
  return kOk;
}

int condition(Printer& printer, Arguments& arguments) {
  const Words now = words(printer);
  arguments.answer(0, now.acknowledgement);
  arguments.answer(1, now.first);
  arguments.answer(2, now.second);
  return kOk;
}

/// The same as texts. Only the first place comes back to the host, so it holds them all.
template <bool kCondition>
int asTexts(Printer& printer, Arguments& arguments) {
  const Words now = words(printer);
  const int first = kCondition ? now.first : 0;
  const int second = kCondition ? now.second : now.code;
  arguments.answer(0, digits(now.acknowledgement, 2) + "," + digits(first, 3) + "," + digits(second, 3));
  arguments.answer(1, digits(first, 3));
  arguments.answer(2, digits(second, 3));
  if (arguments.size() > 3) arguments.answer(3, digits(now.code, 3));
  return kOk;
}

/// 1 coupon open, 2 payments begun, 4 summer time, 8 day closed, 32 the last coupon may be cancelled, 128 memory full.
int fiscalFlags(const Printer& printer) {
  const State& state = printer.state;
  const bool coupon = state.open.kind == Kind::kCoupon;
  const bool cancellable = state.open.kind == Kind::kNone && state.lastKind == Kind::kCoupon && !state.last.cancelled;
  return (coupon ? 1 : 0) | (coupon && state.open.phase == Phase::kPaying ? 2 : 0) |
         (printer.setting("Verao") == "1" ? 4 : 0) | (state.closedDate == printer.today() ? 8 : 0) |
         (cancellable ? 32 : 0) | (state.reductions.size() >= kMostReductions ? 128 : 0);
}

template <Kind kKind>
std::string openOrNot(const Printer& printer) {
  return printer.state.open.kind == kKind ? "1" : "0";
}

/// Phase of the open coupon: 0 none, 1 items, 2 subtotal, 3 payments.
std::string couponPhase(const Printer& printer) {
  if (printer.state.open.kind != Kind::kCoupon) return "0";
  return std::to_string(static_cast<int>(printer.state.open.phase) + 1);
}

std::string statusWord(const Printer& printer) {
  const Words now = words(printer);
  return digits(now.first, 3) + digits(now.second, 3);
}

std::string statusBits(const Printer& printer) {
  const Words now = words(printer);
  std::string bits;
  for (const int word : {now.first, now.second}) {
    for (int bit = 7; bit >= 0; --bit) bits += ((word >> bit) & 1) != 0 ? '1' : '0';
  }
  return bits;
}

std::string message(const Printer& printer) {
  struct Text {
    int code;
    const char* words;
  };
  constexpr Text kTexts[] = {{kFileError, "ARQUIVO NAO PODE SER LIDO OU GRAVADO"},
                             {kBadArgument, "PARAMETRO INVALIDO"},
                             {kPortClosed, "PORTA SERIAL FECHADA"},
                             {kDocumentOpen, "OUTRO DOCUMENTO ABERTO"},
                             {kNoDocument, "DOCUMENTO NAO ABERTO"},
                             {kWrongPhase, "FASE DO DOCUMENTO NAO PERMITE"},
                             {kDayClosed, "DIA ENCERRADO"},
                             {kReductionPending, "REDUCAO Z PENDENTE"},
                             {kNoItem, "ITEM INEXISTENTE OU CANCELADO"},
                             {kAmount, "VALOR NAO PERMITIDO"},
                             {kNotProgrammed, "NAO PROGRAMADO"},
                             {kFull, "TABELA OU MEMORIA CHEIA"},
                             {kNothing, "NADA A FAZER"},
                             {kDayHasSales, "JA HOUVE MOVIMENTO"}};
  for (const Text& text : kTexts) {
    if (text.code == printer.state.lastResult) return text.words;
  }
  return printer.state.lastResult < 0 ? "ERRO INTERNO" : "COMANDO OK";
}

constexpr Command kCommands[] = {
    {"ECF_RetornoImpressora", lastAnswer},
    {"Bematech_FI_RetornoImpressora", lastAnswer},
    {"ECF_RetornoImpressoraMFD", lastAnswer},
    {"ECF_RetornoImpressoraStr", asTexts<false>},
    {"ECF_VerificaEstadoImpressora", condition},
    {"ECF_VerificaEstadoImpressoraMFD", asTexts<true>},
    {"ECF_VerificaEstadoImpressoraStr", asTexts<true>},
    {"ECF_VerificaImpressoraLigada",
     [](Printer& p, Arguments&) { return p.state.portOpen ? int{kOk} : int{kPortClosed}; }, true},
    {"ECF_ObterMensagemStatus", reads<message>, true},
    {"ECF_MsgLog",
     readsTwo<[](const Printer& p) { return std::pair(p.state.lastMessage, std::to_string(p.state.lastResult)); }>,
     true},
    {"ECF_FlagsFiscais", reads<[](const Printer& p) { return std::to_string(fiscalFlags(p)); }>},
    {"ECF_FlagsFiscaisStr", reads<[](const Printer& p) { return digits(fiscalFlags(p), 3); }>},
    {"ECF_FlagsFiscais3MFD", reads<[](const Printer& p) { return digits(fiscalFlags(p), 3); }>},
    {"ECF_StatusEstendidoMFD", reads<[](const Printer& p) { return digits(words(p).second, 3); }>},
    {"ECF_StatusCupomFiscal", reads<couponPhase>},
    {"ECF_StatusRelatorioGerencial", reads<openOrNot<Kind::kReport>>},
    {"ECF_StatusComprovanteNaoFiscalVinculado", reads<openOrNot<Kind::kLinked>>},
    {"ECF_StatusComprovanteNaoFiscalNaoVinculado", reads<openOrNot<Kind::kReceipt>>},
    {"ECF_VerificaZPendente", reads<[](const Printer& p) { return pendingReduction(p) ? "1" : "0"; }>},
    {"ECF_VerificaDiaAberto", reads<[](const Printer& p) { return p.state.day.open ? "1" : "0"; }>},
    {"ECF_PalavraStatus", reads<statusWord>},
    {"ECF_PalavraStatusBinario", reads<statusBits>},
    {"ECF_VerificaFlagCorteMFD", reads<[](const Printer& p) { return p.state.cutNext ? "1" : "0"; }>},
};

}  // namespace

std::span<const Command> statusCommands() {
  return kCommands;
}

}  // namespace printer
