// What the host reads: the answer's text, put together from the vendor's result and the returned values.
#pragma once

#include "generated/argument_values.h"
#include "generated/commands.h"
#include "runtime/cursor.h"

namespace generated {

/// Separates the fields of parameters and answers.
inline constexpr char kFieldEnd = '\x01';

/// Writes the answer of `command` whose adapter returned `result` and left `values`. Error 5.
void WriteAnswer(const Command& command, Obj_Node* result, const ArgumentValues& values, vorne::ByteWriter& answer);
/// The answer without a vendor call: 0 and field 2, trimmed. Error 1 without field 2, 5.
void AnswerFieldTwo(Obj_Node* fields, vorne::ByteWriter& answer);

}  // namespace generated
