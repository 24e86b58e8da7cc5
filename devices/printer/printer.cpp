#include "printer/printer.h"

#include <algorithm>

#include "common/calendar.h"

namespace printer {

using namespace device;

std::string Printer::setting(std::string_view name) const {
  const auto found = std::find_if(state.settings.begin(), state.settings.end(),
                                  [&](const Setting& setting) { return setting.name == name; });
  return found == state.settings.end() ? std::string() : found->value;
}

void Printer::set(std::string_view name, std::string_view value) {
  for (Setting& setting : state.settings) {
    if (setting.name == name) {
      setting.value = value;
      return;
    }
  }
  state.settings.push_back({std::string(name), std::string(value)});
}

void Printer::finish(Kind kind, Cents total, bool cancelled, const std::string& customer) {
  tape.rule();
  tape.pair("OP: " + state.operatorName, "LJ " + state.shopNumber + " CX " + state.cashDesk);
  tape.pair(std::string(kBrand) + " " + std::string(kModel), printedDate(now) + " " + printedTime(now));
  tape.line("NUMERO DE FABRICACAO: " + std::string(kSerialNumber));
  if (state.cutNext) {
    tape.cut();
  } else {
    tape.line("");
  }
  state.cutNext = true;
  state.lastKind = kind;
  state.lastWhen = now;
  // The memory is full: the oldest document goes.
  if (state.documents.size() >= kMostDocuments) state.documents.erase(state.documents.begin());
  state.documents.push_back({state.counters.coupon, kind, now, customer, total, cancelled});
}

void Printer::head() {
  for (const std::string& row : state.header) tape.centred(row);
  tape.pair("CNPJ: " + std::string(kCnpj), "IE: " + std::string(kStateRegistration));
  tape.line("IM: " + std::string(kCityRegistration));
  tape.rule();
  tape.pair(printedDate(now) + " " + printedTime(now) + "   CCF:" + digits(state.counters.fiscal, 6),
            "COO:" + digits(state.counters.coupon, 6));
}

// Names before numbers: a payment form may be called "2".
std::optional<int> findNamed(const std::vector<Named>& table, std::string_view nameOrIndex) {
  const std::string wanted = upper(trim(nameOrIndex));
  for (std::size_t i = 0; i < table.size(); ++i) {
    if (upper(table[i].name) == wanted) return static_cast<int>(i);
  }
  const auto index = parseInteger(wanted, 1, static_cast<std::int64_t>(table.size()));
  if (!index) return std::nullopt;
  return static_cast<int>(*index) - 1;
}

}  // namespace printer
