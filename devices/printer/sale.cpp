// Each step of a document is allowed in one phase only (items, subtotal, payments) and answers the vendor's number for
// what is wrong; nothing is printed before all of it has been checked.
#include "printer/sale.h"

#include <algorithm>

namespace printer {

using namespace device;

namespace {

/// Largest coupon: R$ 9.999.999,99. Products of two amounts then fit 64 bits.
constexpr Cents kLargestTotal = 999'999'999;

bool surchargeWanted(std::string_view way) {
  return upper(trim(way)) == "A";
}

/// "A" or "D".
bool knownWay(std::string_view way) {
  return surchargeWanted(way) || upper(trim(way)) == "D";
}

std::string taxName(const State& state, Kind kind, int place) {
  if (kind == Kind::kReceipt) return {};
  constexpr std::string_view kFree[] = {"FF", "II", "NN"};
  if (place >= kSubstitution) return std::string(kFree[place - kSubstitution]);
  const bool service = static_cast<std::size_t>(place) < state.rates.size() && state.rates[place].service;
  return (service ? "S" : "T") + digits(place + 1, 2);
}

void printItem(Printer& printer, const Item& item) {
  const Document& document = printer.state.open;
  const std::string number = digits(static_cast<std::int64_t>(document.items.size()), 3);
  printer.tape.text(number + " " + item.code + " " + item.description, 6);
  const int decimals = item.price % 10 == 0 ? 2 : 3;
  const std::string price = fixedPoint(decimals == 2 ? item.price / 10 : item.price, decimals);
  const int fraction = item.quantity % 1000 == 0 ? 0 : 3;
  const std::string quantity = fixedPoint(fraction == 0 ? item.quantity / 1000 : item.quantity, fraction);
  printer.tape.pair("    " + quantity + item.unit + " x " + price,
                    taxName(printer.state, document.kind, item.tax) + "  " + money(item.gross));
  if (item.discount > 0) printer.tape.pair("    DESCONTO ITEM", "-" + money(item.discount));
  if (item.surcharge > 0) printer.tape.pair("    ACRESCIMO ITEM", "+" + money(item.surcharge));
}

void countReceipt(State& state, const Document& receipt) {
  for (const Item& item : receipt.items) {
    if (item.cancelled) continue;
    Named& totaliser = state.totalisers[static_cast<std::size_t>(item.tax)];
    totaliser.total += item.net();
    ++totaliser.count;
    state.day.receiptDiscounts += item.discount;
    state.day.receiptSurcharges += item.surcharge;
  }
  state.day.receiptDiscounts += receipt.discount;
  state.day.receiptSurcharges += receipt.surcharge;
}

}  // namespace

int findTax(const State& state, std::string_view text, int& place) {
  const std::string tax = upper(trim(text));
  constexpr std::string_view kFree[] = {"FF", "II", "NN"};
  if (const auto* found = std::find(std::begin(kFree), std::end(kFree), tax); found != std::end(kFree)) {
    place = kSubstitution + static_cast<int>(found - std::begin(kFree));
    return kOk;
  }
  if (tax.size() == 2 && allDigits(tax)) {
    place = static_cast<int>(*parseInteger(tax, 0, 99)) - 1;
    return place >= 0 && place < static_cast<int>(state.rates.size()) ? kOk : kNotProgrammed;
  }
  const auto rate = tax.size() >= 4 ? parseDecimal(tax, 2, false) : std::nullopt;
  if (!rate) return kBadArgument;
  const auto found = std::find_if(state.rates.begin(), state.rates.end(),
                                  [&](const Rate& programmed) { return programmed.hundredths == *rate; });
  place = static_cast<int>(found - state.rates.begin());
  return found == state.rates.end() ? kNotProgrammed : kOk;
}

std::optional<Cents> adjustment(const Printer& printer, std::string_view kind, std::string_view amount, Cents base) {
  const std::string text = trim(amount);
  if (text.empty()) return 0;
  const std::string how = upper(trim(kind));
  if (how == "$" || how == "V") return parseMoney(text);
  if (how != "%" && how != "P") return std::nullopt;
  const auto percentage = parseDecimal(text, 2, false);
  if (!percentage || *percentage > 99'999) return std::nullopt;
  return scaled(base, *percentage, 10'000, printer.state.round);
}

int inPhase(const Printer& printer, Kind kind, Phase phase) {
  if (printer.state.open.kind != kind) return kNoDocument;
  return printer.state.open.phase == phase ? kOk : kWrongPhase;
}

int addItem(Printer& printer, Item item) {
  Document& document = printer.state.open;
  if (item.code.empty() || item.description.empty() || item.code.size() > 20) return kBadArgument;
  if (item.quantity < 1 || item.quantity > 9'999'999 || item.price < 1 || item.price > 9'999'999'999) {
    return kBadArgument;
  }
  if (document.items.size() >= kMostItems) return kFull;
  item.gross = scaled(item.quantity, item.price, 10'000, printer.state.round);
  if (item.gross < 1 || item.gross > kLargestTotal) return kAmount;
  if (item.discount < 0 || item.discount >= item.gross || item.surcharge < 0) return kAmount;
  if (item.surcharge > kLargestTotal || document.itemsTotal() + item.net() > kLargestTotal) return kAmount;
  document.items.push_back(std::move(item));
  printItem(printer, document.items.back());
  return kOk;
}

Item* findItem(Printer& printer, std::string_view number) {
  auto& items = printer.state.open.items;
  const auto index = parseInteger(trim(number), 1, static_cast<std::int64_t>(items.size()));
  if (!index || items[static_cast<std::size_t>(*index) - 1].cancelled) return nullptr;
  return &items[static_cast<std::size_t>(*index) - 1];
}

int cancelItem(Printer& printer, Kind kind, std::string_view number) {
  if (const int result = inPhase(printer, kind, Phase::kItems); result != kOk) return result;
  Item* const item = findItem(printer, number);
  if (item == nullptr) return kNoItem;
  printer.tape.pair("CANCELAMENTO ITEM " + digits(item - printer.state.open.items.data() + 1, 3),
                    "-" + money(item->net()));
  item->cancelled = true;
  return kOk;
}

int adjustItem(Printer& printer, Kind kind, std::string_view number, std::string_view way, std::string_view how,
               std::string_view amount) {
  if (const int result = inPhase(printer, kind, Phase::kItems); result != kOk) return result;
  if (!knownWay(way)) return kBadArgument;
  Item* const item = findItem(printer, number);
  if (item == nullptr) return kNoItem;
  const auto value = adjustment(printer, how, amount, item->gross);
  if (!value || *value == 0) return kBadArgument;
  const bool up = surchargeWanted(way);
  if (up ? item->surcharge != 0 : item->discount != 0) return kWrongPhase;  // one of each an item
  if (up ? printer.state.open.itemsTotal() + *value > kLargestTotal : *value >= item->net()) return kAmount;
  (up ? item->surcharge : item->discount) = *value;
  printer.tape.pair((up ? "ACRESCIMO ITEM " : "DESCONTO ITEM ") + digits(item - printer.state.open.items.data() + 1, 3),
                    (up ? "+" : "-") + money(*value));
  return kOk;
}

int startTotalling(Printer& printer, Kind kind) {
  if (printer.state.open.kind != kind) return kNoDocument;
  if (printer.state.open.phase == Phase::kTotalling) return kOk;
  if (printer.state.open.phase != Phase::kItems) return kWrongPhase;
  if (printer.state.open.itemsTotal() <= 0) return kNoItem;
  printer.state.open.phase = Phase::kTotalling;
  printer.tape.pair("SUBTOTAL " + printer.state.currency, money(printer.state.open.itemsTotal()));
  return kOk;
}

int adjustSubtotal(Printer& printer, Kind kind, std::string_view way, std::string_view how, std::string_view amount) {
  if (const int result = inPhase(printer, kind, Phase::kTotalling); result != kOk) return result;
  if (!knownWay(way)) return kBadArgument;
  Document& document = printer.state.open;
  const bool up = surchargeWanted(way);
  const auto value = adjustment(printer, how, amount, document.itemsTotal());
  if (!value) return kBadArgument;
  if (*value == 0) return kOk;
  if (up ? document.surcharge != 0 : document.discount != 0) return kWrongPhase;
  if (up ? document.total() + *value > kLargestTotal : *value >= document.total()) return kAmount;
  (up ? document.surcharge : document.discount) = *value;
  printer.tape.pair(up ? "ACRESCIMO" : "DESCONTO", (up ? "+" : "-") + money(*value));
  return kOk;
}

int total(Printer& printer, Kind kind) {
  if (const int result = startTotalling(printer, kind); result != kOk) return result;
  printer.state.open.phase = Phase::kPaying;
  printer.tape.pair("TOTAL " + printer.state.currency, money(printer.state.open.total()));
  return kOk;
}

int pay(Printer& printer, std::string_view form, std::string_view amount, int instalments, std::string_view text) {
  Document& document = printer.state.open;
  if (document.kind != Kind::kCoupon && document.kind != Kind::kReceipt) return kNoDocument;
  if (document.phase != Phase::kPaying) return kWrongPhase;
  const auto index = findNamed(printer.state.forms, form);
  if (!index) return kNotProgrammed;
  const auto value = parseMoney(trim(amount));
  if (!value || *value < 1) return kBadArgument;
  const Cents missing = document.total() - document.paid();
  Named& programmed = printer.state.forms[static_cast<std::size_t>(*index)];
  // Change is given for cash only: a card pays no more than is missing.
  if (missing <= 0 || *value > kLargestTotal || (programmed.linkable && *value > missing)) return kAmount;
  if (document.payments.size() >= kMostPayments) return kFull;
  document.payments.push_back({*index, *value, instalments, false});
  printer.tape.pair(programmed.name, money(*value));
  printer.tape.text(text, 4);
  return kOk;
}

int close(Printer& printer, Kind kind, std::string_view message) {
  if (const int result = inPhase(printer, kind, Phase::kPaying); result != kOk) return result;
  State& state = printer.state;
  Document& document = state.open;
  if (document.paid() < document.total()) return kAmount;
  if (document.payments.size() > 1) printer.tape.pair("SOMA DOS PAGAMENTOS", money(document.paid()));
  if (document.change() > 0) printer.tape.pair("TROCO " + state.currency, money(document.change()));
  if (!message.empty()) {
    printer.tape.rule();
    printer.tape.text(message, 8);
  }
  for (const Payment& payment : document.payments) {
    Named& form = state.forms[static_cast<std::size_t>(payment.form)];
    form.total += payment.amount;
    ++form.count;
  }
  state.day.change += document.change();
  if (kind == Kind::kCoupon) {
    countCoupon(state, document, 1);
  } else {
    countReceipt(state, document);
  }
  if (printer.setting("Gaveta") == "1") state.drawerOpen = true;
  printer.finish(kind, document.total(), false, document.customer);
  state.last = document;
  state.open = Document{};
  return kOk;
}

int cancelOpen(Printer& printer, Kind kind) {
  State& state = printer.state;
  if (state.open.kind != kind) return kNoDocument;
  const bool coupon = kind == Kind::kCoupon;
  printer.tape.centred(coupon ? "CUPOM FISCAL CANCELADO" : "COMPROVANTE CANCELADO");
  const Cents value = state.open.total();
  if (coupon) {
    // Counted and taken back: a cancelled coupon stands in the gross sales and in the cancellations.
    countCoupon(state, state.open, 1);
    countCoupon(state, state.open, -1);
    ++state.counters.cancelledCoupons;
  } else {
    ++state.counters.cancelledReceipts;
    state.day.receiptCancelled += value;
  }
  state.open.cancelled = true;
  printer.finish(kind, value, true, state.open.customer);
  state.last = state.open;
  state.open = Document{};
  return kOk;
}

void setCustomer(Printer& printer, Arguments& arguments, std::size_t first) {
  Document& document = printer.state.open;
  document.customer = arguments.trimmed(first).substr(0, 20);
  document.name = arguments.trimmed(first + 1).substr(0, 48);
  document.address = arguments.trimmed(first + 2).substr(0, 96);
}

void printCustomer(Printer& printer) {
  const Document& document = printer.state.open;
  if (!document.customer.empty()) printer.tape.line("CPF/CNPJ CONSUMIDOR: " + document.customer);
  if (!document.name.empty()) printer.tape.line("NOME: " + document.name);
  if (!document.address.empty()) printer.tape.text("END: " + document.address, 3);
}

void finishOpenCoupon(Printer& printer) {
  Document& document = printer.state.open;
  if (document.phase != Phase::kPaying && total(printer, Kind::kCoupon) != kOk) {
    cancelOpen(printer, Kind::kCoupon);
    return;
  }
  const Cents missing = document.total() - document.paid();
  if (missing > 0 && pay(printer, "1", std::to_string(missing), 1, "") != kOk) return;
  close(printer, Kind::kCoupon, "FECHAMENTO AUTOMATICO");
}

std::vector<Cents> taxShares(const Document& coupon) {
  std::vector<Cents> shares(kTaxPlaces, 0);
  const Cents sum = coupon.itemsTotal();
  const Cents change = coupon.surcharge - coupon.discount;
  Cents left = change;
  Cents* lastShare = nullptr;
  for (const Item& item : coupon.items) {
    if (item.net() <= 0) continue;
    const Cents part = change * item.net() / sum;
    lastShare = &shares[static_cast<std::size_t>(item.tax)];
    *lastShare += item.net() + part;
    left -= part;
  }
  if (lastShare != nullptr) *lastShare += left;  // what rounding left over
  return shares;
}

void countCoupon(State& state, const Document& coupon, int sign) {
  Day& day = state.day;
  Cents active = 0;
  Cents dropped = 0;
  for (const Item& item : coupon.items) {
    const bool service = static_cast<std::size_t>(item.tax) < state.rates.size() &&
                         state.rates[static_cast<std::size_t>(item.tax)].service;
    (item.cancelled ? dropped : active) += item.gross;
    if (item.cancelled) continue;
    (service ? day.discountsService : day.discounts) += sign * item.discount;
    (service ? day.surchargesService : day.surcharges) += sign * item.surcharge;
    if (service && sign < 0) day.cancelledService += item.net();
  }
  day.discounts += sign * coupon.discount;
  day.surcharges += sign * coupon.surcharge;
  if (sign > 0) {
    day.gross += active + dropped;
    day.cancelled += dropped;
    state.grandTotal += active + dropped;
  } else {
    day.cancelled += active;
  }
  const std::vector<Cents> shares = taxShares(coupon);
  for (std::size_t i = 0; i < kTaxPlaces; ++i) state.taxes[i] += sign * shares[i];
}

}  // namespace printer
