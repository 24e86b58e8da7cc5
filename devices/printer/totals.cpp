// Readings of money: the open and the last document, the day, payment forms and totalisers.
#include "printer/commands.h"
#include "printer/memory.h"
#include "printer/readings.h"
#include "printer/sale.h"

namespace printer {

using namespace device;

namespace {

/// The coupon that readings of "the last coupon" mean.
const Document& lastCoupon(const Printer& printer) {
  return printer.state.open.kind == Kind::kCoupon ? printer.state.open : printer.state.last;
}

bool service(const Printer& printer, const Item& item) {
  const auto place = static_cast<std::size_t>(item.tax);
  return place < printer.state.rates.size() && printer.state.rates[place].service;
}

Cents itemSurcharges(const Document& document) {
  Cents sum = document.surcharge;
  for (const Item& item : document.items) sum += item.cancelled ? 0 : item.surcharge;
  return sum;
}

Cents itemDiscounts(const Document& document) {
  Cents sum = document.discount;
  for (const Item& item : document.items) sum += item.cancelled ? 0 : item.discount;
  return sum;
}

template <bool kOnlyService>
std::string cancelledInLast(const Printer& printer) {
  Cents sum = 0;
  const Document& document = lastCoupon(printer);
  for (const Item& item : document.items) {
    if ((item.cancelled || document.cancelled) && (!kOnlyService || service(printer, item))) sum += item.gross;
  }
  return amount(sum);
}

std::string taxesOfLast(const Printer& printer) {
  const Document& document = lastCoupon(printer);
  if (document.kind != Kind::kCoupon) return amount(0);
  return joined(taxShares(document), [](Cents value) { return amount(value); });
}

std::string subtotal(const Printer& printer, Kind kind) {
  return amount(printer.state.open.kind == kind ? printer.state.open.total() : 0);
}

std::string formTotals(const Printer& printer) {
  return joined(printer.state.forms, [](const Named& form) {
    return padded(form.name, 16) + amount(form.total, 20) + digits(form.count, 4) + (form.linkable ? "1" : "0");
  });
}

std::string totaliserTotals(const Printer& printer) {
  return joined(printer.state.totalisers,
                [](const Named& row) { return padded(row.name, 19) + amount(row.total, 20) + digits(row.count, 4); });
}

std::string dayTaxes(const Printer& printer) {
  return joined(printer.state.taxes, [](Cents value) { return amount(value); });
}

Cents paymentsOfDay(const Printer& printer) {
  Cents sum = 0;
  for (const Named& form : printer.state.forms) sum += form.total;
  return sum;
}

/// Gross, cancelled, discounts, surcharges and net of the day.
std::string fiscalRegisters(const Printer& printer) {
  const Day& day = printer.state.day;
  return amount(printer.state.grandTotal, 18) + "," + amount(day.gross) + "," + amount(day.cancelled) + "," +
         amount(day.discounts + day.discountsService) + "," + amount(day.surcharges + day.surchargesService) + "," +
         amount(netOfDay(day));
}

std::pair<std::string, std::string> lastForm(const Printer& printer) {
  const Document& document = lastCoupon(printer);
  if (document.payments.empty()) return {"", amount(0)};
  const Payment& payment = document.payments.back();
  return {printer.state.forms[static_cast<std::size_t>(payment.form)].name, amount(payment.amount)};
}

/// Looks up the name in the first place; its total goes over the name and into the second place.
template <std::vector<Named> State::*kTable>
int totalOf(Printer& printer, Arguments& arguments) {
  const auto& table = printer.state.*kTable;
  const auto index = findNamed(table, arguments.text(0));
  if (!index) return kNotProgrammed;
  for (const std::size_t place : {0U, 1U}) {
    arguments.answer(place, amount(table[static_cast<std::size_t>(*index)].total));
  }
  return kOk;
}

/// ICMS and ISS halves of a sum of the day.
template <Cents Day::*kGoods, Cents Day::*kServices>
int goodsAndServices(Printer& printer, Arguments& arguments) {
  arguments.answer(0, amount(printer.state.day.*kGoods));
  arguments.answer(1, amount(printer.state.day.*kServices));
  return kOk;
}

template <Cents Day::*kSum>
std::string ofDay(const Printer& printer) {
  return amount(printer.state.day.*kSum);
}

constexpr Command kCommands[] = {
    {"ECF_TipoUltimoDocumento", reads<[](const Printer& p) { return digits(static_cast<int>(p.state.lastKind), 2); }>},
    {"ECF_UltimoItemVendido",
     reads<[](const Printer& p) { return digits(static_cast<int>(lastCoupon(p).items.size()), 4); }>},
    {"ECF_SubTotal", reads<[](const Printer& p) { return subtotal(p, Kind::kCoupon); }>},
    {"ECF_SubTotalComprovanteNaoFiscalMFD", reads<[](const Printer& p) { return subtotal(p, Kind::kReceipt); }>},
    {"ECF_ValorPagoUltimoCupom", reads<[](const Printer& p) { return amount(lastCoupon(p).paid()); }>},
    {"ECF_VerificaFormasPagamento", reads<formTotals>},
    {"ECF_VerificaFormasPagamentoMFD", reads<formTotals>},
    {"ECF_VerificaFormasPagamentoEx", reads<formTotals>},
    {"ECF_UltimaFormaPagamento", readsTwo<lastForm>},
    {"ECF_TotaisVenda", reads<fiscalRegisters>},
    {"ECF_ValorAcrescimosUltimoCupom", reads<[](const Printer& p) { return amount(itemSurcharges(lastCoupon(p))); }>},
    {"ECF_ValorDescontosUltimoCupom", reads<[](const Printer& p) { return amount(itemDiscounts(lastCoupon(p))); }>},
    {"ECF_ValorCancelamentosUltimoCupom", reads<cancelledInLast<false>>},
    {"ECF_ValorCancelamentosUltimoCupomISS", reads<cancelledInLast<true>>},
    {"ECF_ValorAliquotaUltimoCupom", reads<taxesOfLast>},
    {"ECF_Acrescimos",
     reads<[](const Printer& p) { return amount(p.state.day.surcharges + p.state.day.surchargesService); }>},
    {"ECF_Descontos",
     reads<[](const Printer& p) { return amount(p.state.day.discounts + p.state.day.discountsService); }>},
    {"ECF_ValorFormaPagamento", totalOf<&State::forms>},
    {"ECF_ValorFormaPagamentoMFD", totalOf<&State::forms>},
    {"ECF_ValorTotalizadorNaoFiscal", totalOf<&State::totalisers>},
    {"ECF_ValorTotalizadorNaoFiscalMFD", totalOf<&State::totalisers>},
    {"ECF_RetornaValorComprovanteNaoFiscal", totalOf<&State::totalisers>},
    {"ECF_VerificaRecebimentoNaoFiscal", reads<totaliserTotals>},
    {"ECF_VerificaRecebimentoNaoFiscalMFD", reads<totaliserTotals>},
    {"ECF_RetornaRegistradoresNaoFiscais", reads<totaliserTotals>},
    {"ECF_Cancelamentos", reads<ofDay<&Day::cancelled>>},
    {"ECF_GrandeTotal", reads<[](const Printer& p) { return amount(p.state.grandTotal, 18); }>},
    {"ECF_VerificaTotalizadoresParciais", reads<dayTaxes>},
    {"ECF_VerificaTotalizadoresParciaisMFD", reads<dayTaxes>},
    {"ECF_VendaBruta", reads<ofDay<&Day::gross>>},
    {"ECF_RetornaAcrescimoNF", reads<ofDay<&Day::receiptSurcharges>>},
    {"ECF_RetornaDescontoNF", reads<ofDay<&Day::receiptDiscounts>>},
    {"ECF_RetornaCancelamentoNF", reads<ofDay<&Day::receiptCancelled>>},
    {"ECF_RetornaTotalPagamentos", reads<[](const Printer& p) { return amount(paymentsOfDay(p)); }>},
    {"ECF_RetornaTroco", reads<ofDay<&Day::change>>},
    {"ECF_RetornaRegistradoresFiscais", reads<fiscalRegisters>},
    {"ECF_AcrescimosICMSISS", goodsAndServices<&Day::surcharges, &Day::surchargesService>},
    {"ECF_CancelamentosICMSISS", goodsAndServices<&Day::cancelled, &Day::cancelledService>},
    {"ECF_DescontosICMSISS", goodsAndServices<&Day::discounts, &Day::discountsService>},
};

}  // namespace

std::span<const Command> totalsCommands() {
  return kCommands;
}

}  // namespace printer
