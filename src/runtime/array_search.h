// Which elements a search or a sort looks at, and what of them.
#pragma once

#include "runtime/vorneobjs.h"

namespace vorne {

/// What counts of an element in a search or a sort: of a row its column (from 0), null when the row has none.
Obj_Node* KeyOf(Obj_Node* element, int column);
/// An optional column, counted from 1, as an index; error 0 for what is no number.
int ColumnIndex(const Obj_Node* column);
/// An optional start, counted from 1, as an index that is not negative.
int StartIndex(const Obj_Node* start);
/// An end position: the length when missing or out of range.
int EndPosition(const Obj_Node* count, int length);

}  // namespace vorne
