// The elements of arrays: reaching, appending, cutting off.
#pragma once

#include "runtime/internal.h"

namespace vorne {

/// How deep arrays may be nested for the operations that follow them down.
inline constexpr int kDeepestNesting = 64;
/// The element count is a 16-bit field.
inline constexpr int kMostElements = INT16_MAX;

/// The array's header; error 0 for anything that is not an array.
inline Arrays& HeaderOrFail(const Obj_Node* a) {
  if (!IsArray(a) || a->objData.mArray == nullptr) ArgumentError();
  return *a->objData.mArray;
}

/// Element `i`, counted from 0; error 1 outside.
Obj_Node* Element(const Arrays& header, int i);
/// What an element stands for: a sub-array's node, or the element itself.
inline Obj_Node* ElementValue(Obj_Node* element) {
  return IsElementWithArray(element) ? element->objData.mSubArray : element;
}
/// A NIL element of the array's context at its end; error 1 when it is full.
Obj_Node* AppendElement(Obj_Node* array);
/// Removes everything behind the first `kept` elements.
void Truncate(Arrays& header, int kept);
/// Makes an element refer to an array.
void HoldArray(Obj_Node* element, Obj_Node* array);

}  // namespace vorne
