// A command's fields turned into the values that its adapter takes.
#pragma once

#include <array>
#include <cstddef>

#include "generated/arguments.h"
#include "runtime/vorneobjs.h"

namespace generated {

class ArgumentValues {
 public:
  /// Numbers by __Val, texts by __DoEncode. Every value is a variable of the current context, so that what the vendor
  /// leaves in it can be read afterwards. Error 1 for a missing field, 5.
  ArgumentValues(const ArgList& arguments, Obj_Node* fields);

  Obj_Node* const* data() const { return values_.data(); }
  Obj_Node* operator[](std::size_t i) const { return values_[i]; }

 private:
  std::array<Obj_Node*, kMaxArguments> values_{};
};

/// Field `k` (from 2, the first behind the name) of a parameter string. Error 1 when it is missing.
Obj_Node* Field(Obj_Node* fields, int k);
/// `text` encoded as adapters take it, in a variable of the current context. Error 5.
Obj_Node* EncodedVariable(Obj_Node* text);

}  // namespace generated
