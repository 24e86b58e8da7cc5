// Everything the simulated card terminal remembers between calls, the dialogue under way included: each call may come
// from a process of its own. No full card number is ever kept.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/text.h"

namespace tef {

using device::Cents;

inline constexpr std::size_t kMostTransactions = 500;
inline constexpr std::size_t kMostProducts = 20;
inline constexpr std::size_t kMostQuestions = 16;

/// Where a dialogue stands: the question to ask next, or the answers being handed out.
enum class Step : int {
  kNone,
  kAmount,
  kPaymentMenu,
  kCreditMenu,
  kCard,
  kValidity,
  kInstalments,
  kAdministration,
  kOldNumber,
  kConfirmReversal,
  kSlipMenu,
  kSlipCode,
  kSlipAmount,
  kConfirmSlip,
  kPharmacyCard,
  kConfirmPharmacy,
  kAnswers,
};

enum class Mode : int { kCash, kInstalments, kDebit, kReversal, kSlip, kPharmacy };

enum class Standing : int { kPending, kConfirmed, kUndone, kReversed };

/// Something to hand out: one command of the dialogue.
struct Answer {
  int command{}, type{};
  std::string text;
  template <class V>
  void fields(V& v) {
    v(command), v(type), v(text);
  }
};

struct Transaction {
  std::int64_t number{};  ///< NSU
  Mode mode{};
  Standing standing{};
  Cents amount{};
  int instalments{};
  std::int64_t reverses{};  ///< NSU of the payment that this one takes back
  std::string card, authorization, coupon, date, time;
  template <class V>
  void fields(V& v) {
    v(number), v(mode), v(standing), v(amount), v(instalments), v(reverses), v(card), v(authorization), v(coupon);
    v(date), v(time);
  }
};

struct Product {
  std::string code;
  int quantity{};
  Cents price{};
  template <class V>
  void fields(V& v) {
    v(code), v(quantity), v(price);
  }
};

struct Dialogue {
  Step step{};
  bool asked{};
  int wrong{};   ///< wrong answers to the question
  int result{};  ///< what the dialogue ends with once the answers are out
  Mode mode{};
  Cents amount{};
  int instalments{};
  std::int64_t reverses{};
  bool menu{};   ///< payment: the menu asks for its kind
  bool title{};  ///< slip: a bank slip, not a bill
  std::string card, validity, code, coupon, date, time;
  template <class V>
  void fields(V& v) {
    v(step), v(asked), v(wrong), v(result), v(mode), v(amount), v(instalments), v(reverses), v(menu), v(title), v(card);
    v(validity), v(code), v(coupon), v(date), v(time);
  }
};

struct State {
  bool configured{};
  std::string address, shop, terminal;
  std::int64_t lastNumber{};
  Dialogue dialogue;
  std::vector<Step> history;    ///< questions answered so far, to go back to
  std::vector<Answer> answers;  ///< still to be handed out
  std::vector<Transaction> transactions;
  std::string firstCopy, secondCopy;  ///< receipt printed last
  std::string permanentMessage;
  bool interrupted{}, cardRead{};
  std::string pinKey;
  std::string authorization;  ///< pharmacy: under way
  std::vector<Product> products;

  bool consistent() const;

  template <class V>
  void fields(V& v) {
    v("configurado", configured), v("endereco", address), v("loja", shop), v("terminal", terminal);
    v("nsu", lastNumber), v("dialogo", dialogue), v("pergunta", history), v("resposta", answers);
    v("transacao", transactions), v("via.cliente", firstCopy), v("via.loja", secondCopy);
    v("pinpad.mensagem", permanentMessage), v("pinpad.interrompido", interrupted), v("pinpad.cartao", cardRead);
    v("pinpad.chave", pinKey), v("farmacia.autorizacao", authorization), v("farmacia.produto", products);
  }
};

}  // namespace tef
