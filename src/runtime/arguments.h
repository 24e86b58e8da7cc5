// The checks of arguments that every floor speaks: a text, a number, an optional number, a date, an array, or error 0.
#pragma once

#include <cstring>
#include <string_view>

#include "runtime/to_int.h"
#include "runtime/vorneobjs.h"

namespace vorne {

/// Raises error 0 with auxiliary number -1: a wrong argument.
[[noreturn]] inline void ArgumentError() {
  __RuntimeError(0, -1);
}
/// Raises error 1 with auxiliary number -1: an index outside an array.
[[noreturn]] inline void BoundError() {
  __RuntimeError(1, -1);
}

inline bool IsText(const Obj_Node* n) {
  return n != nullptr && n->objVarType == varString;
}
/// A text that can be read: one whose buffer was moved away is none.
inline bool HasText(const Obj_Node* n) {
  return IsText(n) && n->objData.mbuff != nullptr;
}
inline bool IsNumber(const Obj_Node* n) {
  return n != nullptr && n->objVarType == varNumber;
}
inline bool IsDate(const Obj_Node* n) {
  return n != nullptr && n->objVarType == varDate;
}
inline bool IsLogical(const Obj_Node* n) {
  return n != nullptr && n->objVarType == varBool;
}
inline bool IsNil(const Obj_Node* n) {
  return n != nullptr && n->objVarType == varNil;
}
inline bool IsTrue(const Obj_Node* n) {
  return IsLogical(n) && n->objData.mbool != 0;
}
/// An array node (not an element that holds an array).
inline bool IsArray(const Obj_Node* n) {
  return n != nullptr && n->objType == vArray;
}
inline bool IsElementWithArray(const Obj_Node* n) {
  return n != nullptr && n->objType == vElArray && n->objVarType == varArray && n->objData.mSubArray != nullptr;
}
/// An argument that was left out: a null pointer, or the NIL that scripts pass in its place.
inline bool IsMissing(const Obj_Node* n) {
  return n == nullptr || n->objVarType == varNil;
}
/// The end of a list of variadic arguments: null or a varNul node.
inline bool EndsList(const Obj_Node* n) {
  return n == nullptr || n->objVarType == varNul;
}

/// A text argument; lives as long as its node keeps its buffer.
struct Text {
  std::string_view shown;  ///< the bytes before the first zero byte; a zero byte follows them
  int field;               ///< the node's length field, at least 0

  const char* data() const { return shown.data(); }
  int length() const { return static_cast<int>(shown.size()); }
};

/// The text in `n`, or error 0.
inline Text TextArgument(const Obj_Node* n) {
  if (!HasText(n)) ArgumentError();
  return {n->objData.mbuff, n->objLength > 0 ? n->objLength : 0};
}

/// The number in `n`, or error 0.
inline double NumberArgument(const Obj_Node* n) {
  if (!IsNumber(n)) ArgumentError();
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
  if (!IsDate(n)) ArgumentError();
  return n->objData.mdt;
}

}  // namespace vorne
