// An answer is the result, then a 0x01 and a value for each argument that came back; the oddities of single commands
// are output forms of the table's rows.
#include "generated/answer.h"

#include <cstring>

#include "builtins/vornefun.h"
#include "generated/constants.h"
#include "runtime/arguments.h"

namespace generated {

namespace {

using vorne::ByteWriter;

/// A text up to its first zero byte: behind it stands what the vendor did not overwrite. Nothing for any other value.
void putText(Obj_Node* text, ByteWriter& answer) {
  if (!vorne::HasText(text)) return;
  answer.put({text->objData.mbuff, std::strlen(text->objData.mbuff)});
}

void putNumber(Obj_Node* number, ByteWriter& answer) {
  putText(__AllTrim(__Str(number)), answer);
}

void putTwoDigits(Obj_Node* number, ByteWriter& answer) {
  putText(__StrZero(number, __const_get_el(kConstants.two)), answer);
}

Obj_Node* decoded(Obj_Node* value) {
  Obj_Node* text = __DoDecode(value);
  if (text == nullptr) __RuntimeError(5, -1);
  return text;
}

void putDecoded(Obj_Node* value, ByteWriter& answer) {
  putText(decoded(value), answer);
}

void putTrimmed(Obj_Node* value, ByteWriter& answer) {
  Obj_Node* text = decoded(value);
  if (vorne::HasText(text)) putText(__AllTrim(text), answer);
}

/// The data of a dialogue. 0x03 is removed from the text as it comes back, that is encoded: hosts see those that the
/// vendor sent, as they always have.
void putDialogueData(Obj_Node* value, ByteWriter& answer) {
  putDecoded(__StrTran(value, __Chr(__INIT_DOUBLE(3)), __const_get_el(kConstants.emptyText)), answer);
}

void putValue(Argument kind, Obj_Node* value, Output output, ByteWriter& answer) {
  if (nativeKind(kind) != Native::kCharPtr) {
    output == Output::TWO_DIGITS ? putTwoDigits(value, answer) : putNumber(value, answer);
  } else if (kind == Argument::kDataRef) {
    putDialogueData(value, answer);
  } else if (output == Output::TRIMMED_TEXTS) {
    putTrimmed(value, answer);
  } else {
    putDecoded(value, answer);
  }
}

}  // namespace

void WriteAnswer(const Command& command, Obj_Node* result, const ArgumentValues& values, ByteWriter& answer) {
  const Output output = command.output;
  if (output != Output::TEXTS_ONLY) putNumber(result, answer);
  bool separated = false;
  for (std::size_t i = 0; i < command.arguments.size(); ++i) {
    const Argument kind = command.arguments[i].kind;
    if (output != Output::ECHO_ALL && !returned(kind)) continue;
    // Here each text ends with the separator, instead of beginning with it, and there is no result before.
    if (output == Output::TEXTS_ONLY) {
      putValue(kind, values[i], output, answer);
      answer.put(kFieldEnd);
      continue;
    }
    // The six digits stand behind one separator, as one field.
    if (output != Output::TWO_DIGITS || !separated) answer.put(kFieldEnd);
    separated = true;
    putValue(kind, values[i], output, answer);
  }
}

void AnswerFieldTwo(Obj_Node* fields, ByteWriter& answer) {
  Obj_Node* field = EncodedVariable(Field(fields, 2));
  putNumber(__const_get_el(kConstants.zero), answer);
  answer.put(kFieldEnd);
  putTrimmed(field, answer);
}

}  // namespace generated
