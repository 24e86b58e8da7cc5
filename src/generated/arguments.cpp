// Each argument is put into a variable of its own before the call: what the vendor writes comes back into it, and the
// answer is put together from the variables.
#include "generated/arguments.h"

#include <cstring>

#include "builtins/vornefun.h"
#include "generated/argument_values.h"
#include "generated/constants.h"

namespace generated {

namespace {

// Room for the digits that the vendor puts there.
constexpr double kBlanks = 6;

Obj_Node* variable(Obj_Node* value) {
  return __SET_OBJECT(nullptr, value);
}

/// The data text of a dialogue, and the length of its encoded form before it was grown: that length is the size that
/// the vendor is told.
struct DialogueData {
  int encodedLength = 0;

  Obj_Node* make(Obj_Node* field) {
    Obj_Node* data = EncodedVariable(__AllTrim(field));
    encodedLength = static_cast<int>(std::strlen(data->objData.mbuff));
    SETBUFFSIZE(data, __const_get_el(kConstants.dialogueBuffer));
    return data;
  }
};

}  // namespace

Obj_Node* Field(Obj_Node* fields, int k) {
  return __ARRAY_EL(fields, __const_get_el(kConstants.fieldNumbers[k]), __INIT_NUL());
}

Obj_Node* EncodedVariable(Obj_Node* text) {
  Obj_Node* encoded = __DoEncode(text);
  // An argument that got lost would reach the device as an empty one.
  if (encoded == nullptr) __RuntimeError(5, -1);
  return variable(encoded);
}

ArgumentValues::ArgumentValues(const ArgList& arguments, Obj_Node* fields) {
  DialogueData dialogue;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const Arg& arg = arguments[i];
    switch (arg.kind) {
      case Argument::kNumber:
      case Argument::kNumberRef:
      case Argument::kShortRef:
        values_[i] = variable(__Val(Field(fields, arg.field)));
        break;
      case Argument::kText:
      case Argument::kTextRef:
        values_[i] = EncodedVariable(Field(fields, arg.field));
        break;
      case Argument::kNothing:
        values_[i] = __INIT_NIL();
        break;
      case Argument::kZeroRef:
        values_[i] = variable(__const_get_el(kConstants.zero));
        break;
      case Argument::kBlanksRef:
        values_[i] = EncodedVariable(__Space(__INIT_DOUBLE(kBlanks)));
        break;
      case Argument::kDataRef:
        values_[i] = dialogue.make(Field(fields, arg.field));
        break;
      case Argument::kDataSize:
        values_[i] = variable(__INIT_DOUBLE(dialogue.encodedLength));
        break;
    }
  }
}

}  // namespace generated
