// The argument checks that every builtin speaks: a text, a number, an optional number, a date, or error 0.
#pragma once

#include <cstring>
#include <string_view>

#include "runtime/vorneobjs.h"

namespace vorne {

/// Raises error 0 with auxiliary number -1.
[[noreturn]] inline void WrongArgument() {
  __RuntimeError(0, -1);
}

/// A text argument; lives as long as its node keeps its buffer.
struct Text {
  std::string_view shown;  ///< the bytes before the first zero byte; a zero byte follows them
  int field;               ///< the node's length field, at least 0

  const char* data() const { return shown.data(); }
  int length() const { return static_cast<int>(shown.size()); }
};

/// True for an argument that was left out: a null pointer, or the NIL that scripts pass in its place.
inline bool IsMissing(const Obj_Node* n) {
  return n == nullptr || n->objVarType == varNil;
}

/// True for a text that still has its buffer.
inline bool IsReadableText(const Obj_Node* n) {
  return n != nullptr && n->objVarType == varString && n->objData.mbuff != nullptr;
}

/// The text in `n`, or error 0.
inline Text TextArgument(const Obj_Node* n) {
  if (!IsReadableText(n)) WrongArgument();
  return {n->objData.mbuff, n->objLength > 0 ? n->objLength : 0};
}

/// The number in `n`, or error 0.
inline double NumberArgument(const Obj_Node* n) {
  if (n == nullptr || n->objVarType != varNumber) WrongArgument();
  return n->objData.mdbl;
}

/// The same as an int (see ToInt).
inline int IntArgument(const Obj_Node* n) {
  return ToInt(NumberArgument(n));
}

/// The int in `n`, `otherwise` when it was left out, or error 0.
inline int OptionalInt(const Obj_Node* n, int otherwise) {
  return IsMissing(n) ? otherwise : IntArgument(n);
}

/// The day count of the date in `n`, or error 0.
inline datetime DateArgument(const Obj_Node* n) {
  if (n == nullptr || n->objVarType != varDate) WrongArgument();
  return n->objData.mdt;
}

}  // namespace vorne
