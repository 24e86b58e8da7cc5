// The verb that runs a script of commands.
#pragma once

#include "edge/cli.h"

namespace tool {

void addSale(Verb& top);

}  // namespace tool
