// Readings of counters, of the memories' room and of the last Z reduction.
#include "common/calendar.h"
#include "printer/commands.h"
#include "printer/readings.h"

namespace printer {

using namespace device;

namespace {

template <std::int64_t Counters::*kCounter, std::size_t kWidth>
std::string counter(const Printer& printer) {
  return digits(printer.state.counters.*kCounter, kWidth);
}

template <std::vector<Named> State::*kTable>
std::string counts(const Printer& printer) {
  return joined(printer.state.*kTable, [](const Named& row) { return digits(row.count, 4); });
}

std::string reductionsLeft(const Printer& printer) {
  return digits(static_cast<std::int64_t>(kMostReductions - printer.state.reductions.size()), 4);
}

std::int64_t documentsLeft(const Printer& printer) {
  return static_cast<std::int64_t>(kMostDocuments - printer.state.documents.size());
}

/// First and last coupon of the day, zeros when it is not open.
std::pair<std::string, std::string> couponsOfDay(const Printer& printer) {
  const Day& day = printer.state.day;
  return {digits(day.open ? day.firstCoupon : 0, 6), digits(day.open ? printer.state.counters.coupon : 0, 6)};
}

/// Seconds that a card receipt may still follow the last coupon: five minutes from its end.
std::string secondsForReceipt(const Printer& printer) {
  constexpr long kWindow = 300;
  if (printer.state.lastKind != Kind::kCoupon) return "0000";
  const long passed = secondsBetween(printer.state.lastWhen, printer.now);
  return digits(passed >= 0 && passed < kWindow ? kWindow - passed : 0, 4);
}

std::string movement(const Printer& printer) {
  const Day& day = printer.state.day;
  return shortDate(day.open ? day.opened : printer.state.closedDate);
}

/// Readings of the last Z reduction refuse when there was none.
template <auto kRead>
int ofLastReduction(Printer& printer, Arguments& arguments) {
  if (printer.state.reductions.empty()) return kNothing;
  arguments.answer(0, kRead(printer.state.reductions.back()));
  return kOk;
}

template <auto kFirst, auto kSecond>
int twoOfLastReduction(Printer& printer, Arguments& arguments) {
  if (printer.state.reductions.empty()) return kNothing;
  arguments.answer(0, kFirst(printer.state.reductions.back()));
  arguments.answer(1, kSecond(printer.state.reductions.back()));
  return kOk;
}

std::string everything(const Reduction& r) {
  return digits(r.number, 4) + "," + digits(r.restarts, 4) + "," + digits(r.coupon, 6) + "," + shortDate(r.movement) +
         "," + amount(r.gross) + "," + amount(r.cancelled) + "," + amount(r.discounts) + "," + amount(r.surcharges) +
         "," + amount(r.grandTotal, 18);
}

constexpr Command kCommands[] = {
    {"ECF_NumeroCupom", reads<counter<&Counters::coupon, 6>>},
    {"Bematech_FI_NumeroCupom", reads<counter<&Counters::coupon, 6>>},
    {"ECF_RetornaCOO", reads<counter<&Counters::coupon, 6>>},
    {"ECF_NumeroIntervencoes", reads<counter<&Counters::restarts, 4>>},
    {"ECF_RetornaCRO", reads<counter<&Counters::restarts, 4>>},
    {"ECF_ContadorCupomFiscalMFD", reads<counter<&Counters::fiscal, 6>>},
    {"ECF_NumeroCuponsCancelados", reads<counter<&Counters::cancelledCoupons, 4>>},
    {"ECF_NumeroOperacoesNaoFiscais", reads<counter<&Counters::nonFiscal, 6>>},
    {"ECF_RetornaCNFNV", reads<counter<&Counters::nonFiscal, 6>>},
    {"ECF_ContadorComprovantesCreditoMFD", reads<counter<&Counters::linked, 4>>},
    {"ECF_ComprovantesNaoFiscaisNaoEmitidosMFD", reads<counter<&Counters::notIssued, 4>>},
    {"ECF_ContadorOperacoesNaoFiscaisCanceladasMFD", reads<counter<&Counters::cancelledReceipts, 4>>},
    {"ECF_RetornaCNFCancelados", reads<counter<&Counters::cancelledReceipts, 4>>},
    {"ECF_ContadorFitaDetalheMFD", reads<counter<&Counters::tapes, 6>>},
    {"ECF_ContadorRelatoriosGerenciaisMFD", reads<counter<&Counters::reports, 6>>},
    {"ECF_NumeroReducoes", reads<counter<&Counters::reductions, 4>>},
    {"ECF_RetornaCRZ", reads<counter<&Counters::reductions, 4>>},
    {"ECF_COO", readsTwo<couponsOfDay>},
    {"ECF_ContadoresTotalizadoresNaoFiscais", reads<counts<&State::totalisers>>},
    {"ECF_ContadoresTotalizadoresNaoFiscaisMFD", reads<counts<&State::totalisers>>},
    {"ECF_VerificaRelatorioGerencialMFD", reads<counts<&State::reports>>},
    {"ECF_PercentualLivreMFD", reads<[](const Printer& p) {
       return digits(documentsLeft(p) * 100 / static_cast<std::int64_t>(kMostDocuments), 3);
     }>},
    {"ECF_TotalLivreMFD", reads<[](const Printer& p) { return digits(documentsLeft(p), 10); }>},
    {"ECF_TamanhoTotalMFD", reads<[](const Printer&) { return digits(static_cast<int>(kMostDocuments), 10); }>},
    {"ECF_ReducoesRestantesMFD", reads<reductionsLeft>},
    {"ECF_RetornaCRZRestante", reads<reductionsLeft>},
    {"ECF_TempoRestanteComprovanteMFD", reads<secondsForReceipt>},
    {"ECF_DataMovimento", reads<movement>},
    {"ECF_DataHoraUltimoDocumentoMFD",
     reads<[](const Printer& p) { return shortDate(p.state.lastWhen) + shortTime(p.state.lastWhen); }>},
    {"ECF_DataHoraReducao", twoOfLastReduction<[](const Reduction& r) { return shortDate(r.made); },
                                               [](const Reduction& r) { return shortTime(r.made); }>},
    {"ECF_DataMovimentoUltimaReducaoMFD", ofLastReduction<[](const Reduction& r) { return shortDate(r.movement); }>},
    {"ECF_InicioFimCOOsMFD", twoOfLastReduction<[](const Reduction& r) { return digits(r.firstCoupon, 6); },
                                                [](const Reduction& r) { return digits(r.coupon, 6); }>},
    {"ECF_InicioFimGTsMFD", twoOfLastReduction<[](const Reduction& r) { return amount(r.startGrandTotal, 18); },
                                               [](const Reduction& r) { return amount(r.grandTotal, 18); }>},
    {"ECF_GrandeTotalUltimaReducaoMFD", ofLastReduction<[](const Reduction& r) { return amount(r.grandTotal, 18); }>},
    {"ECF_DadosUltimaReducao", ofLastReduction<everything>},
    {"ECF_DadosUltimaReducaoMFD", ofLastReduction<everything>},
};

}  // namespace

std::span<const Command> counterCommands() {
  return kCommands;
}

}  // namespace printer
