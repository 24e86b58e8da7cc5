// The constant pool of the command logic: every literal once, in the order in which the command table first uses it.
#pragma once

#include "generated/commands.h"
#include "runtime/vorneobjs.h"

namespace generated {

inline constexpr int kConstantCount = 370;

/// Positions in the pool.
struct ConstantIndex {
  int emptyText, zero, cmdVersion, versionText, one, cmdRevision, revisionText, two, dialogueBuffer, notFound, library;
  int fieldNumbers[16];  ///< of the number k, for k from 2 to 15
  int names[kCommandCount];
};
extern const ConstantIndex kConstants;

/// Makes the pool and fills it. Error 0 when it does not come out at kConstantCount, error 5.
void FillConstantPool();

}  // namespace generated
