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

/// Lends the filled pool to the runtime for this run. Error 0 when it does not hold kConstantCount constants.
void FillConstantPool();

}  // namespace generated
