// Everything the simulated printer remembers. Money is in centavos, quantities in thousandths, moments are texts
// AAAAMMDDhhmmss. Each structure lists its fields once, for reading and writing alike.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "common/text.h"

namespace printer {

using device::Cents;

inline constexpr std::size_t kMostItems = 300;
inline constexpr std::size_t kMostPayments = 20;
inline constexpr std::size_t kMostRates = 16;
inline constexpr std::size_t kMostForms = 20;
inline constexpr std::size_t kMostTotalisers = 30;
inline constexpr std::size_t kMostReports = 30;
/// Z reductions that the fiscal memory has room for: five years.
inline constexpr std::size_t kMostReductions = 1825;
/// Documents that the detail tape remembers; older ones are forgotten.
inline constexpr std::size_t kMostDocuments = 1000;

enum class Kind : int { kNone, kCoupon, kReceipt, kLinked, kReport, kReduction, kReading, kCash };
enum class Phase : int { kItems, kTotalling, kPaying };

/// Where the value of an item is counted: a programmed rate 0 to 15, or one of three that need no rate.
inline constexpr int kSubstitution = 16;
inline constexpr int kExempt = 17;
inline constexpr int kNotTaxed = 18;
inline constexpr std::size_t kTaxPlaces = 19;

struct Rate {
  int hundredths{};
  bool service{};  ///< ISS instead of ICMS
  template <class V>
  void fields(V& v) {
    v(hundredths), v(service);
  }
};

/// A name of one of the printer's tables with what was counted under it today.
struct Named {
  std::string name;
  Cents total{};
  std::int64_t count{};
  bool linkable{};  ///< payment forms: a card receipt may follow
  template <class V>
  void fields(V& v) {
    v(name), v(total), v(count), v(linkable);
  }
};

struct Item {
  std::string code, description, unit;
  int tax{};  ///< in a receipt: index of the totaliser
  std::int64_t quantity{};
  std::int64_t price{};  ///< thousandths of a real
  Cents gross{}, discount{}, surcharge{};
  bool cancelled{};
  Cents net() const { return cancelled ? 0 : gross - discount + surcharge; }
  template <class V>
  void fields(V& v) {
    v(code), v(description), v(unit), v(tax), v(quantity), v(price), v(gross), v(discount), v(surcharge), v(cancelled);
  }
};

struct Payment {
  int form{};
  Cents amount{};
  int instalments{};
  bool linked{};  ///< its card receipt was printed
  template <class V>
  void fields(V& v) {
    v(form), v(amount), v(instalments), v(linked);
  }
};

struct Document {
  Kind kind{};
  Phase phase{};
  std::int64_t number{};
  std::string opened, customer, name, address;
  Cents discount{}, surcharge{};
  bool cancelled{};
  std::vector<Item> items;
  std::vector<Payment> payments;

  Cents itemsTotal() const;
  Cents total() const { return itemsTotal() - discount + surcharge; }
  Cents paid() const;
  Cents change() const { return paid() > total() ? paid() - total() : 0; }

  template <class V>
  void describe(V& v, const std::string& prefix) {
    v(prefix + "tipo", kind), v(prefix + "fase", phase), v(prefix + "numero", number), v(prefix + "aberto", opened);
    v(prefix + "consumidor", customer), v(prefix + "nome", name), v(prefix + "endereco", address);
    v(prefix + "desconto", discount), v(prefix + "acrescimo", surcharge), v(prefix + "cancelado", cancelled);
    v(prefix + "item", items), v(prefix + "pagamento", payments);
  }
};

/// Sums of one day of movement.
struct Day {
  bool open{};
  std::string opened;  ///< moment of the first document
  std::int64_t firstCoupon{};
  Cents startGrandTotal{}, gross{}, cancelled{}, discounts{}, surcharges{}, change{};
  Cents cancelledService{}, discountsService{}, surchargesService{};
  Cents receiptDiscounts{}, receiptSurcharges{}, receiptCancelled{};
  template <class V>
  void fields(V& v) {
    v(open), v(opened), v(firstCoupon), v(startGrandTotal), v(gross), v(cancelled), v(discounts), v(surcharges);
    v(change), v(cancelledService), v(discountsService), v(surchargesService), v(receiptDiscounts);
    v(receiptSurcharges), v(receiptCancelled);
  }
};

/// One Z reduction in the fiscal memory.
struct Reduction {
  std::int64_t number{}, coupon{}, firstCoupon{}, restarts{};
  std::string made, movement;  ///< moment of the reduction; date of the movement
  Cents gross{}, cancelled{}, discounts{}, surcharges{}, startGrandTotal{}, grandTotal{};
  std::string taxes;  ///< totals of the tax places, joined by blanks
  template <class V>
  void fields(V& v) {
    v(number), v(coupon), v(firstCoupon), v(restarts), v(made), v(movement), v(gross), v(cancelled), v(discounts);
    v(surcharges), v(startGrandTotal), v(grandTotal), v(taxes);
  }
};

/// One line of the detail tape's register.
struct Entry {
  std::int64_t number{};
  Kind kind{};
  std::string when, customer;
  Cents total{};
  bool cancelled{};
  template <class V>
  void fields(V& v) {
    v(number), v(kind), v(when), v(customer), v(total), v(cancelled);
  }
};

struct Setting {
  std::string name, value;
  template <class V>
  void fields(V& v) {
    v(name), v(value);
  }
};

struct Counters {
  std::int64_t coupon{};      ///< COO: every document
  std::int64_t fiscal{};      ///< CCF: coupons
  std::int64_t nonFiscal{};   ///< GNF: receipts
  std::int64_t linked{};      ///< CDC: card receipts
  std::int64_t reports{};     ///< GRG: management reports
  std::int64_t restarts{1};   ///< CRO
  std::int64_t reductions{};  ///< CRZ
  std::int64_t cancelledCoupons{}, cancelledReceipts{}, notIssued{}, tapes{};
  template <class V>
  void fields(V& v) {
    v(coupon), v(fiscal), v(nonFiscal), v(linked), v(reports), v(restarts), v(reductions), v(cancelledCoupons);
    v(cancelledReceipts), v(notIssued), v(tapes);
  }
};

/// A card receipt being printed, or the last one.
struct LinkedReceipt {
  std::int64_t number{}, coupon{};
  int form{}, instalments{};
  Cents amount{};
  bool reversed{};
  template <class V>
  void fields(V& v) {
    v(number), v(coupon), v(form), v(instalments), v(amount), v(reversed);
  }
};

struct Cheque {
  bool inserted{}, printed{};
  std::string bank, payee, city, date, message;
  Cents amount{};
  template <class V>
  void fields(V& v) {
    v(inserted), v(printed), v(bank), v(payee), v(city), v(date), v(message), v(amount);
  }
};

struct State {
  bool portOpen{}, tefMode{}, keyboardLocked{}, drawerOpen{}, round{true}, cutNext{true};
  std::string port{"COM1"}, speed{"9600"}, lastMessage;
  std::int64_t clockOffset{};  ///< seconds between the printer's clock and the computer's
  int lastResult{1};

  std::vector<Setting> settings;
  std::vector<std::string> header, cities, chequeLayouts;
  std::string shopNumber{"0001"}, cashDesk{"001"}, operatorName, logo, currency{"R$"}, singular{"Real"},
      plural{"Reais"}, authentication;
  std::vector<Rate> rates;
  std::vector<Named> forms, totalisers, reports;

  Counters counters;
  Day day;
  std::string closedDate;  ///< date whose Z reduction was made last
  Cents grandTotal{};
  std::vector<Cents> taxes;
  Document open, last;  ///< the document being printed; the coupon or receipt closed last
  std::string itemText, nextUnit;
  int openReport{};
  LinkedReceipt linked;
  std::vector<std::string> linkedLines;
  Kind lastKind{};
  std::string lastWhen;
  std::vector<Reduction> reductions;
  std::vector<Entry> documents;
  Cheque cheque;
  int barcodeHeight{80}, barcodeWidth{2}, barcodeText{2}, barcodeFont{}, barcodeMargin{};

  /// A printer as it leaves the factory.
  static State fresh();
  /// What a checksum cannot tell: sizes and indexes that the rest of the code relies on.
  bool consistent() const;

  template <class V>
  void fields(V& v) {
    v("porta.aberta", portOpen), v("porta.nome", port), v("porta.velocidade", speed), v("modo.tef", tefMode);
    v("teclado.travado", keyboardLocked), v("gaveta.aberta", drawerOpen), v("arredonda", round), v("corte", cutNext);
    v("ultima.mensagem", lastMessage), v("ultimo.resultado", lastResult), v("relogio", clockOffset);
    v("ajuste", settings), v("cliche", header), v("cidade", cities), v("leiaute", chequeLayouts);
    v("loja", shopNumber), v("caixa", cashDesk), v("operador", operatorName), v("logotipo", logo);
    v("moeda.simbolo", currency), v("moeda.singular", singular), v("moeda.plural", plural);
    v("autenticacao", authentication), v("aliquota", rates), v("forma", forms);
    v("totalizador", totalisers), v("relatorio", reports), v("contadores", counters), v("dia", day);
    v("dia.fechado", closedDate), v("gt", grandTotal), v("imposto", taxes);
    open.describe(v, "documento."), last.describe(v, "ultimo.");
    v("item.texto", itemText), v("item.unidade", nextUnit), v("gerencial", openReport), v("vinculado", linked);
    v("vinculado.linha", linkedLines), v("papel.tipo", lastKind), v("papel.quando", lastWhen);
    v("reducao", reductions), v("registro", documents), v("cheque", cheque), v("barra.altura", barcodeHeight);
    v("barra.largura", barcodeWidth), v("barra.texto", barcodeText), v("barra.fonte", barcodeFont);
    v("barra.margem", barcodeMargin);
  }
};

}  // namespace printer
