// `tellira synchost`: a program of its own, which stands beside the tool.
#pragma once

#include "edge/cli.h"

namespace tool {

void addSynchost(Verb& top);

}  // namespace tool
