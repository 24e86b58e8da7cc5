// The verbs that send single commands to the library, or tell of them.
#pragma once

#include "edge/cli.h"

namespace tool {

void addCall(Verb& top);
void addCommands(Verb& top);

}  // namespace tool
