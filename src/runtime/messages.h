// The auxiliary messages in three languages. A language other than Portuguese states only the rows that differ; a row
// has the same conversions in every language, since callers format it with one argument list.
#pragma once

#include "runtime/latin1.h"

namespace vorne {

struct Translation {
  int row;
  const char* text;
};

/// Row `aux` in message language `language` (1 Portuguese, 2 English, any other Spanish); empty outside the table.
const char* MessageText(int aux, int language);

}  // namespace vorne
