#include "runtime/messages.h"

#include <span>

#include "runtime/messages_english.h"
#include "runtime/messages_portuguese.h"
#include "runtime/messages_spanish.h"
#include "runtime/vorneobjs.h"

namespace vorne {

namespace {

constexpr MessageTable translated(std::span<const Translation> rows) {
  MessageTable table = kPortuguese;
  for (const Translation& row : rows) table[static_cast<std::size_t>(row.row)] = row.text;
  return table;
}

}  // namespace

const char* MessageText(int aux, int language) {
  if (aux < 0 || aux >= kMessageCount) return "";
  const MessageTable& table = language == 1 ? stringMsgErros : language == 2 ? stringMsgErrosEng : stringMsgErrosSpa;
  return table[static_cast<std::size_t>(aux)];
}

}  // namespace vorne

constinit const MessageTable stringMsgErros = vorne::kPortuguese;
constinit const MessageTable stringMsgErrosEng = vorne::translated(vorne::kEnglish);
constinit const MessageTable stringMsgErrosSpa = vorne::translated(vorne::kSpanish);
