#include "printer/printer.h"

#include <algorithm>
#include <unordered_map>

#include "common/calendar.h"

#include "printer/sale.h"

namespace printer {

using namespace device;

namespace {

/// Card payments of the last coupon whose receipt was never printed; it is too late for them now.
void countMissingReceipts(State& state) {
  if (state.last.cancelled) return;
  for (Payment& payment : state.last.payments) {
    if (payment.linked || !state.forms[static_cast<std::size_t>(payment.form)].linkable) continue;
    payment.linked = true;
    ++state.counters.notIssued;
  }
}

}  // namespace

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

int Printer::idle() {
  if (state.open.kind == Kind::kCoupon && setting("FechaAutomatico") == "1") finishOpenCoupon(*this);
  return state.open.kind == Kind::kNone ? kOk : kDocumentOpen;
}

int Printer::needDay() {
  if (state.day.open && !state.day.opened.starts_with(today())) {
    if (setting("Zautomatica") != "1") return kReductionPending;
    if (const int result = reduce(*this); result != kOk) return result;
  }
  if (state.day.open) return kOk;
  if (state.closedDate == today()) return kDayClosed;
  if (state.reductions.size() >= kMostReductions) return kFull;
  state.day = Day{};
  state.day.open = true;
  state.day.opened = now;
  state.day.firstCoupon = state.counters.coupon + 1;
  state.day.startGrandTotal = state.grandTotal;
  return kOk;
}

int Printer::begin(Kind kind, std::string_view title) {
  if (const int result = idle(); result != kOk) return result;
  const bool reading = kind == Kind::kReading || kind == Kind::kReduction;
  if (!reading) {
    if (const int result = needDay(); result != kOk) return result;
  }
  if (kind == Kind::kCoupon || kind == Kind::kReduction) countMissingReceipts(state);
  ++state.counters.coupon;
  if (kind == Kind::kCoupon) ++state.counters.fiscal;
  if (kind == Kind::kReceipt || kind == Kind::kCash) ++state.counters.nonFiscal;
  head();
  if (kind != Kind::kCoupon && !reading) tape.centred("NAO E DOCUMENTO FISCAL");
  tape.centred(title);
  return kOk;
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

const Command* findCommand(std::string_view function) {
  static const auto commands = [] {
    std::unordered_map<std::string_view, const Command*> map;
    for (const auto subject :
         {portCommands(), programmingCommands(), couponCommands(), closingCommands(), linkedCommands(),
          receiptCommands(), dayCommands(), deskCommands(), identityCommands(), totalsCommands(), counterCommands(),
          statusCommands(), fileCommands(), barcodeCommands()}) {
      for (const Command& command : subject) map.emplace(command.function, &command);
    }
    return map;
  }();
  const auto found = commands.find(function);
  return found == commands.end() ? nullptr : found->second;
}

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
