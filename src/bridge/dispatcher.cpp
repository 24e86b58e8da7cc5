// The parameter text is fields with 0x01 between them and 0x02 behind the last; the first names the command. Numbers
// 999 and 997 ask for versions and have no parameters.
#include "bridge/dispatcher.h"

#include <span>

#include "builtins/vornefun.h"
#include "generated/answer.h"
#include "generated/constants.h"
#include "generated/run_command.h"
#include "runtime/arguments.h"
#include "runtime/cursor.h"
#include "screen/vornewin.h"

using namespace vorne;
using generated::kConstants;

namespace {

constexpr char kTextEnd = '\x02';

bool equals(Obj_Node* cmd, int constant) {
  return IsTrue(__EEQ(cmd, __const_get_el(constant)));
}

/// Appends a field; its length field counts the bytes and one terminator, also for an empty one.
void addField(Obj_Node* fields, ByteReader::Bytes bytes) {
  if (bytes.empty()) {
    __AAdd(fields, __const_get_el(kConstants.emptyText));
    return;
  }
  Obj_Node* text = __SetBuffer(bytes.data(), static_cast<int>(bytes.size()));
  if (!HasText(text)) __RuntimeError(5, -1);
  __AAdd(fields, text);
}

/// What stands before the closing 0x02; without one, everything but trailing zero bytes.
ByteReader::Bytes lastField(ByteReader reader) {
  ByteReader::Bytes field;
  if (reader.takeUntil(kTextEnd, field)) return field;
  field = reader.rest();
  while (!field.empty() && field.back() == '\0') field = field.first(field.size() - 1);
  return field;
}

/// The fields of a decoded parameter text, as an array.
Obj_Node* split(const Obj_Node* text) {
  // Nothing to split: an empty or undecodable parameter text.
  if (!HasText(text) || text->objLength < 1) ArgumentError();
  Obj_Node* fields = __fcpObj_CT(vArray);
  ByteReader reader({text->objData.mbuff, static_cast<std::size_t>(text->objLength) - 1});
  ByteReader::Bytes field;
  while (reader.takeUntil(generated::kFieldEnd, field)) addField(fields, field);
  addField(fields, lastField(reader));
  return fields;
}

[[noreturn]] void stopUnknown(Obj_Node* output, Obj_Node* name) {
  output = __SET_OBJECT(output, __SUM(__const_get_el(kConstants.notFound), name));
  __MsgStop(output, __const_get_el(kConstants.library));
}

void encodeAnswer(Obj_Node* output, const ByteWriter& answer) {
  // Exactly one zero byte is encoded behind the text: hosts decode into C strings.
  Obj_Node* text = __SetBuffer(answer.data(), static_cast<int>(answer.size()));
  if (!HasText(text)) __RuntimeError(5, -1);
  Obj_Node* encoded = __DoEncode(text);
  if (encoded == nullptr) __RuntimeError(5, -1);
  __SET_OBJECT(output, encoded);
}

void runCommand(Obj_Node* params, Obj_Node* output) {
  Obj_Node* text = __SET_OBJECT(nullptr, __DoDecode(params));
  Obj_Node* fields = split(text);
  Obj_Node* name = __SET_OBJECT(nullptr, __Upper(__AllTrim(__GET_ARRAY_EL(fields, 0))));
  const int command = generated::FindCommand(name->objData.mbuff);
  if (command < 0) stopUnknown(output, name);
  ByteWriter answer;
  generated::RunCommand(command, fields, answer);
  encodeAnswer(output, answer);
}

}  // namespace

Obj_Node* TELLIRA(Obj_Node* cmd, Obj_Node* params, Obj_Node* output, Obj_Node* capacity) {
  __begin_context();
  LockStack({cmd, params, output, capacity});
  if (equals(cmd, kConstants.cmdVersion)) {
    __SET_OBJECT(output, __const_get_el(kConstants.versionText));
  } else if (equals(cmd, kConstants.cmdRevision)) {
    __SET_OBJECT(output, __const_get_el(kConstants.revisionText));
  } else {
    runCommand(params, output);
  }
  return __end_context(__const_get_el(kConstants.one));
}
