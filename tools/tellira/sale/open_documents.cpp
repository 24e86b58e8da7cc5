// Documents are told from the commands alone, without asking the devices: a sale that ends early may have lost them.
#include "sale/open_documents.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "edge/masking.h"
#include "sale/dialogue_words.h"
#include "text/text.h"

namespace tool {
namespace {

/// A document, and patterns of the commands that begin and end it.
struct Document {
  std::string_view what;
  std::vector<std::string_view> begins, ends;
  std::vector<std::string_view> advice;  ///< commands that end it; none: see commandsFor
};

const std::array<Document, 6> kDocuments{{
    {"the coupon",
     {"ECF_AbreCupom*"},
     {"ECF_CancelaCupom*", "ECF_TerminaFechamentoCupom", "ECF_FechaCupom*"},
     {"ECF_CancelaCupom"}},
    {"the linked receipt",
     {"ECF_AbreComprovanteNaoFiscalVinculado*"},
     {"ECF_FechaComprovanteNaoFiscalVinculado"},
     {"ECF_FechaComprovanteNaoFiscalVinculado"}},
    {"the receipt",
     {"ECF_AbreRecebimentoNaoFiscal*"},
     {"ECF_FechaRecebimentoNaoFiscalMFD", "ECF_CancelaRecebimentoNaoFiscalMFD"},
     {"ECF_CancelaRecebimentoNaoFiscalMFD '' '' ''"}},
    {"the report",
     {"ECF_AbreRelatorioGerencial*", "ECF_RelatorioGerencial"},
     {"ECF_FechaRelatorioGerencial", "ECF_FechaRelatorioXouZ"},
     {"ECF_FechaRelatorioGerencial"}},
    {"the card mode of the printer", {"ECF_IniciaModoTEF"}, {"ECF_FinalizaModoTEF"}, {"ECF_FinalizaModoTEF"}},
    {"the payment", {"IniciaFuncaoSiTefInterativo*"}, {"FinalizaTransacaoSiTefInterativo"}, {}},
}};
constexpr std::size_t kPayment = 5;
constexpr std::string_view kContinuation = "ContinuaFuncaoSiTefInterativo";
constexpr std::size_t kCouponField = 2;  // of the fields of IniciaFuncaoSiTefInterativo; date and time stand behind it

bool matchesAny(const std::vector<std::string_view>& patterns, std::string_view name) {
  return std::any_of(patterns.begin(), patterns.end(),
                     [&](std::string_view pattern) { return matchesGlob(pattern, name); });
}

bool isRefused(const std::vector<std::string>& answer) {
  return !answer.empty() && answer.front().starts_with('-');
}

/// Whether a continuation of a payment's dialogue hands over its NSU.
bool givesNsu(const std::vector<std::string>& answer) {
  constexpr std::size_t kCommand = 1, kFieldType = 2, kDataPart = 5;
  return answer.size() > kDataPart && answer[kCommand] == std::to_string(kData) &&
         dialogueKey(std::atoi(answer[kFieldType].c_str())) == "nsu";
}

}  // namespace

void OpenDocuments::begin(std::size_t kind) {
  end(kind);  // another one of its kind is not open with it
  open_.push_back({kind, line_, fields_, ""});
}

void OpenDocuments::end(std::size_t kind) {
  std::erase_if(open_, [kind](const Open& open) { return open.kind == kind; });
}

void OpenDocuments::send(const generated::Command& command, const std::vector<std::string>& fields, std::size_t line) {
  command_ = &command;
  fields_ = fields;
  line_ = line;
  for (std::size_t kind = 0; kind < kDocuments.size(); ++kind)
    // From the sending on: a command that got no answer may have opened it all the same.
    if (matchesAny(kDocuments[kind].begins, command.name)) begin(kind);
}

void OpenDocuments::answer(const std::vector<std::string>& fields) {
  const std::string_view name = command_->name;
  for (std::size_t kind = 0; kind < kDocuments.size(); ++kind) {
    const bool begins = matchesAny(kDocuments[kind].begins, name);
    // A refused beginning opened nothing, a refused end left it open.
    if (isRefused(fields) ? begins : matchesAny(kDocuments[kind].ends, name)) end(kind);
  }
  if (name != kContinuation) return;
  // A dialogue that ends with a refusal left nothing to confirm.
  if (isRefused(fields)) end(kPayment);
  for (Open& open : open_)
    if (open.kind == kPayment && givesNsu(fields)) open.nsu = fields.back();
}

std::vector<std::string> OpenDocuments::commandsFor(const Open& open) {
  const auto& advice = kDocuments[open.kind].advice;
  if (open.kind != kPayment) return {advice.begin(), advice.end()};
  std::vector<std::string> commands;
  // With the coupon, date and time of the beginning, which the terminal compares.
  for (const char* confirm : {"1", "0"}) {
    commands.push_back("FinalizaTransacaoSiTefInterativo " + std::string(confirm));
    for (std::size_t i = kCouponField; i < kCouponField + 3; ++i)
      commands.back() += " " + (i < open.fields.size() ? open.fields[i] : "''");
  }
  return commands;
}

std::string OpenDocuments::text() const {
  std::string text;
  for (const Open& open : open_) {
    const std::vector<std::string> commands = commandsFor(open);
    text += "\n  open: " + std::string(kDocuments[open.kind].what) + " of line " + std::to_string(open.line) +
            (open.nsu.empty() ? "" : ", NSU " + open.nsu) + "; `" + commands.front() +
            (open.kind == kPayment ? "` confirms it, `" + commands.back() + "` undoes it." : "` ends it.");
  }
  return text;
}

Json OpenDocuments::json() const {
  Json list = Json::array();
  for (const Open& open : open_) {
    Json one;
    one["what"] = kDocuments[open.kind].what;
    one["line"] = open.line;
    one["nsu"] = open.nsu.empty() ? Json() : Json(maskCards(open.nsu));
    one["commands"] = commandsFor(open);
    list.push_back(one);
  }
  return list;
}

}  // namespace tool
