// Element access shared by the array files.
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
/// What counts of an element in a search or a sort: of a row its column (from 0), null when the row has none.
Obj_Node* KeyOf(Obj_Node* element, int column);
/// An optional column, counted from 1, as an index; error 0 for what is no number.
int ColumnIndex(const Obj_Node* column);
/// An optional start, counted from 1, as an index that is not negative.
int StartIndex(const Obj_Node* start);
/// An end position: the length when missing or out of range.
int EndPosition(const Obj_Node* count, int length);
/// Makes an element refer to an array.
void HoldArray(Obj_Node* element, Obj_Node* array);

}  // namespace vorne
