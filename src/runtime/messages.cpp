#include "runtime/messages.h"

#include <span>

#include "runtime/vorneobjs.h"

namespace vorne {

namespace {

const char* translated(std::span<const Translation> rows, int aux) {
  for (const Translation& row : rows) {
    if (row.row == aux) return row.text;
  }
  return stringMsgErros[aux];
}

}  // namespace

const char* MessageText(int aux, int language) {
  if (aux < 0 || aux >= kMessageCount) return "";
  switch (language) {
    case 1:
      return stringMsgErros[aux];
    case 2:
      return translated({stringMsgErrosEng, stringMsgErrosEngCount}, aux);
    default:
      return translated({stringMsgErrosSpa, stringMsgErrosSpaCount}, aux);
  }
}

}  // namespace vorne
