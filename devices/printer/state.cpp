// A state that was read is held against every bound before anything uses it as an index.
#include "printer/state.h"

#include <algorithm>

namespace printer {

namespace {

bool between(auto value, auto least, auto most) {
  return value >= least && value <= most;
}

bool consistentDocument(const Document& document, const State& state) {
  const std::size_t places = document.kind == Kind::kReceipt ? state.totalisers.size() : kTaxPlaces;
  const auto item = [&](const Item& i) { return between(i.tax, 0, static_cast<int>(places) - 1); };
  const auto payment = [&](const Payment& p) { return between(p.form, 0, static_cast<int>(state.forms.size()) - 1); };
  return between(document.kind, Kind::kNone, Kind::kCash) && between(document.phase, Phase::kItems, Phase::kPaying) &&
         document.items.size() <= kMostItems && document.payments.size() <= kMostPayments &&
         std::all_of(document.items.begin(), document.items.end(), item) &&
         std::all_of(document.payments.begin(), document.payments.end(), payment);
}

}  // namespace

Cents Document::itemsTotal() const {
  Cents sum = 0;
  for (const Item& item : items) sum += item.net();
  return sum;
}

Cents Document::paid() const {
  Cents sum = 0;
  for (const Payment& payment : payments) sum += payment.amount;
  return sum;
}

State State::fresh() {
  State state;
  state.header = {"MERCADO TUCANO LTDA", "RUA DAS PALMEIRAS, 100 - CENTRO", "CURITIBA - PR"};
  state.rates = {{1800, false}, {1200, false}, {700, false}, {2500, false}, {500, true}};
  state.forms = {{"Dinheiro", 0, 0, false},
                 {"Cheque", 0, 0, false},
                 {"Cartao Credito", 0, 0, true},
                 {"Cartao Debito", 0, 0, true}};
  state.totalisers = {{"Sangria", 0, 0, false}, {"Suprimento", 0, 0, false}, {"Recebimento", 0, 0, false}};
  state.reports = {{"Relatorio Geral", 0, 0, false}};
  state.chequeLayouts = {"001"};
  state.operatorName = "OPERADOR";
  state.taxes.assign(kTaxPlaces, 0);
  return state;
}

bool State::consistent() const {
  return rates.size() <= kMostRates && between(forms.size(), 1U, kMostForms) &&
         between(totalisers.size(), 2U, kMostTotalisers) && between(reports.size(), 1U, kMostReports) &&
         taxes.size() == kTaxPlaces && reductions.size() <= kMostReductions && documents.size() <= kMostDocuments &&
         between(clockOffset, -4'000'000'000LL, 4'000'000'000LL) &&
         between(openReport, 0, static_cast<int>(reports.size()) - 1) &&
         between(linked.form, 0, static_cast<int>(forms.size()) - 1) && consistentDocument(open, *this) &&
         consistentDocument(last, *this);
}

}  // namespace printer
