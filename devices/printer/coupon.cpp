// Coupons up to the subtotal: opening, items, cancelled items, discounts on items.
#include "printer/commands.h"
#include "printer/documents.h"
#include "printer/sale.h"

namespace printer {

using namespace device;

namespace {

int openCoupon(Printer& printer) {
  if (const int result = beginDocument(printer, Kind::kCoupon, "CUPOM FISCAL"); result != kOk) return result;
  Document& document = printer.state.open;
  document = Document{};
  document.kind = Kind::kCoupon;
  document.number = printer.state.counters.coupon;
  document.opened = printer.now;
  return kOk;
}

void printItemHeads(Printer& printer) {
  printer.tape.rule();
  printer.tape.pair("ITEM CODIGO DESCRICAO", "");
  printer.tape.pair("    QTD.UN x VL UNIT (R$)", "ST  VL ITEM (R$)");
  printer.tape.rule();
}

int openSimple(Printer& printer, Arguments& arguments) {
  const std::string customer = arguments.trimmed(0);
  if (customer.size() > 29) return kBadArgument;
  if (const int result = openCoupon(printer); result != kOk) return result;
  printer.state.open.customer = customer;
  printCustomer(printer);
  printItemHeads(printer);
  return kOk;
}

int openWithCustomer(Printer& printer, Arguments& arguments) {
  if (const int result = openCoupon(printer); result != kOk) return result;
  setCustomer(printer, arguments, 0);
  printCustomer(printer);
  printItemHeads(printer);
  return kOk;
}

int identifyCustomer(Printer& printer, Arguments& arguments) {
  if (printer.state.open.kind != Kind::kCoupon) return kNoDocument;
  if (arguments.trimmed(0).empty() && arguments.trimmed(1).empty()) return kBadArgument;
  setCustomer(printer, arguments, 0);
  printCustomer(printer);
  return kOk;
}

/// The text for the next item's description, longer than the description's own place.
int longerDescription(Printer& printer, Arguments& arguments) {
  const std::string text = arguments.trimmed(0);
  if (text.empty() || text.size() > 200) return kBadArgument;
  printer.state.itemText = text;
  return kOk;
}

int nextUnit(Printer& printer, Arguments& arguments) {
  const std::string unit = arguments.trimmed(0);
  if (unit.empty() || unit.size() > 2) return kBadArgument;
  printer.state.nextUnit = unit;
  return kOk;
}

/// Places of the arguments of one of the three ways to sell an item; -1: the way has no such argument.
struct SaleShape {
  int quantityKind, quantity, decimals, price, discountKind, discount, surcharge, unit;
};

constexpr SaleShape kPlainSale = {3, 4, 5, 6, 7, 8, -1, -1};
constexpr SaleShape kThreeDecimalSale = {-1, 3, -1, 4, 5, 6, -1, -1};
constexpr SaleShape kDepartmentSale = {-1, 4, -1, 3, -1, 6, 5, 8};

std::string textAt(const Arguments& arguments, int place) {
  return place < 0 ? std::string() : arguments.trimmed(static_cast<std::size_t>(place));
}

bool readAmounts(const SaleShape& shape, const Arguments& arguments, Item& item) {
  const std::string kind = upper(textAt(arguments, shape.quantityKind));
  const auto quantity = parseDecimal(textAt(arguments, shape.quantity), 3, true);
  const std::string decimals = textAt(arguments, shape.decimals);
  if (shape.quantityKind >= 0 && kind != "I" && kind != "F") return false;
  if (shape.decimals >= 0 && decimals != "2" && decimals != "3") return false;
  if (!quantity || (kind == "I" && *quantity % 1000 != 0)) return false;
  const bool thousandths = shape.decimals < 0 || decimals == "3";
  const auto price = parseDecimal(textAt(arguments, shape.price), thousandths ? 3 : 2, false);
  if (!price || *price > 9'999'999'999) return false;
  item.quantity = *quantity;
  // Prices are kept in thousandths, quantities too: their product is in millionths, and `scaled` makes centavos of it.
  item.price = thousandths ? *price : *price * 10;
  return true;
}

/// Sells one item; the discount is worked out before the item exists, from the value it is going to have.
template <const SaleShape& kShape>
int sell(Printer& printer, Arguments& arguments) {
  State& state = printer.state;
  if (const int result = inPhase(printer, Kind::kCoupon, Phase::kItems); result != kOk) return result;
  Item item;
  item.code = arguments.trimmed(0);
  item.description = state.itemText.empty() ? arguments.trimmed(1).substr(0, 29) : state.itemText;
  if (const int result = findTax(state, arguments.text(2), item.tax); result != kOk) return result;
  if (!readAmounts(kShape, arguments, item)) return kBadArgument;
  const std::string unit = textAt(arguments, kShape.unit);
  item.unit = !unit.empty() ? unit.substr(0, 2) : state.nextUnit.empty() ? "UN" : state.nextUnit;
  if (item.quantity > 9'999'999) return kBadArgument;
  const Cents gross = scaled(item.quantity, item.price, 10'000, state.round);
  const std::string kind = kShape.discountKind < 0 ? "$" : textAt(arguments, kShape.discountKind);
  if (gross > 999'999'999) return kAmount;
  const auto discount = adjustment(printer, kind, textAt(arguments, kShape.discount), gross);
  const auto surcharge = adjustment(printer, "$", textAt(arguments, kShape.surcharge), gross);
  if (!discount || !surcharge) return kBadArgument;
  item.discount = *discount;
  item.surcharge = *surcharge;
  const int result = addItem(printer, std::move(item));
  if (result == kOk) {
    state.itemText.clear();
    state.nextUnit.clear();
  }
  return result;
}

int sellInDepartment(Printer& printer, Arguments& arguments) {
  if (!parseInteger(arguments.trimmed(7), 1, 20)) return kBadArgument;
  return sell<kDepartmentSale>(printer, arguments);
}

int cancelPreviousItem(Printer& printer, Arguments&) {
  const auto& items = printer.state.open.items;
  for (std::size_t i = items.size(); i > 0; --i) {
    if (!items[i - 1].cancelled) return cancelItem(printer, Kind::kCoupon, std::to_string(i));
  }
  return printer.state.open.kind == Kind::kCoupon ? kNoItem : kNoDocument;
}

/// Takes a surcharge or discount of an item back.
int cancelItemAdjustment(Printer& printer, Arguments& arguments) {
  if (const int result = inPhase(printer, Kind::kCoupon, Phase::kItems); result != kOk) return result;
  const std::string way = upper(arguments.trimmed(0));
  if (way != "A" && way != "D") return kBadArgument;
  Item* const item = findItem(printer, arguments.text(1));
  if (item == nullptr) return kNoItem;
  Cents& value = way == "A" ? item->surcharge : item->discount;
  if (value == 0) return kNothing;
  if (way == "A" && item->discount >= item->gross) return kAmount;  // the discount leans on the surcharge
  printer.tape.pair(way == "A" ? "CANCELAMENTO ACRESCIMO ITEM" : "CANCELAMENTO DESCONTO ITEM", money(value));
  value = 0;
  return kOk;
}

constexpr Command kCommands[] = {
    {"ECF_AbreCupom", openSimple},
    {"ECF_AbreCupomMFD", openWithCustomer},
    {"ECF_IdentificaConsumidor", identifyCustomer},
    {"ECF_AumentaDescricaoItem", longerDescription},
    {"ECF_UsaUnidadeMedida", nextUnit},
    {"ECF_VendeItem", sell<kPlainSale>},
    {"ECF_VendeItemTresDecimais", sell<kThreeDecimalSale>},
    {"ECF_VendeItemDepartamento", sellInDepartment},
    {"ECF_DescontoSobreItemVendido",
     [](Printer& p, Arguments& a) { return adjustItem(p, Kind::kCoupon, a.text(0), "D", a.text(1), a.text(2)); }},
    {"ECF_AcrescimoDescontoItemMFD",
     [](Printer& p, Arguments& a) { return adjustItem(p, Kind::kCoupon, a.text(0), a.text(1), a.text(2), a.text(3)); }},
    {"ECF_CancelaItemAnterior", cancelPreviousItem},
    {"ECF_CancelaItemGenerico", [](Printer& p, Arguments& a) { return cancelItem(p, Kind::kCoupon, a.text(0)); }},
    {"ECF_CancelaAcrescimoDescontoItemMFD", cancelItemAdjustment},
};

}  // namespace

std::span<const Command> couponCommands() {
  return kCommands;
}

}  // namespace printer
