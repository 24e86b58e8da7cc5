// `tellira sync`: the tables of a working directory and those of a host server.
#pragma once

#include "edge/cli.h"

namespace tool {

void addSync(Verb& top);  ///< sync, sync config, sync log

}  // namespace tool
