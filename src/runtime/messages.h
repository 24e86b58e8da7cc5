// The auxiliary messages in three languages. A language other than Portuguese states only the rows that differ; a row
// has the same conversions in every language, since callers format it with one argument list.
#pragma once

#include <cstddef>
#include <iterator>

#include "runtime/latin1.h"

namespace vorne {

inline constexpr int kMessageCount = 141;

struct Translation {
  int row;
  const char* text;
};

extern const char* const stringMsgErros[kMessageCount];
extern const Translation stringMsgErrosEng[];
extern const std::size_t stringMsgErrosEngCount;
extern const Translation stringMsgErrosSpa[];
extern const std::size_t stringMsgErrosSpaCount;

/// Row `aux` in message language `language` (1 Portuguese, 2 English, any other Spanish); empty outside the table.
const char* MessageText(int aux, int language);

}  // namespace vorne
