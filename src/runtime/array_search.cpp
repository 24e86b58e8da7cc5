// Comparing and scanning elements. Positions are counted from 1 by scripts and from 0 here; a missing or NIL argument
// is the whole array.
#include "runtime/array_search.h"

#include <cstring>

#include "runtime/array_elements.h"

using namespace vorne;

namespace vorne {

int ColumnIndex(const Obj_Node* column) {
  return column == nullptr || IsNil(column) ? 0 : IntArgument(column) - 1;
}

int StartIndex(const Obj_Node* start) {
  const int first = start == nullptr || IsNil(start) ? 1 : IntArgument(start);
  return first < 1 ? 0 : first - 1;
}

Obj_Node* KeyOf(Obj_Node* element, int column) {
  if (!IsElementWithArray(element)) return element;
  const Arrays* row = element->objData.mSubArray->objData.mArray;
  if (row == nullptr || column < 0 || column >= row->amntItens) return nullptr;
  return ElementValue(Element(*row, column));
}

int EndPosition(const Obj_Node* count, int length) {
  if (count == nullptr || IsNil(count)) return length;
  const int end = IntArgument(count);
  return end < 1 || end > length ? length : end;
}

}  // namespace vorne

namespace {

int sign(double a, double b) {
  return a == b ? 0 : a > b ? 1 : -1;
}

bool scannable(const Obj_Node* v) {
  return HasText(v) || IsDate(v) || IsNumber(v) || IsLogical(v);
}

}  // namespace

int __Comp(Obj_Node* a, Obj_Node* b) {
  // A row without the column equals nothing.
  if (a == nullptr || b == nullptr) return -1;
  if (a->objVarType != b->objVarType) ArgumentError();
  switch (a->objVarType) {
    case varString:
      if (!HasText(a) || !HasText(b)) ArgumentError();
      return sign(std::strcmp(a->objData.mbuff, b->objData.mbuff), 0);
    case varDate:
    case varNumber:
      return sign(a->objData.mdbl, b->objData.mdbl);
    case varBool:
      // Logicals are the same or not; none is the greater one.
      return (a->objData.mbool != 0) == (b->objData.mbool != 0) ? 0 : 1;
    default:
      ArgumentError();
  }
}

Obj_Node* __AScan(Obj_Node* a, Obj_Node* v, Obj_Node* start, Obj_Node* count, Obj_Node* column) {
  const Arrays& header = HeaderOrFail(a);
  if (!scannable(v)) return SharedValue(kZero);
  const int end = EndPosition(count, header.amntItens);
  const int col = ColumnIndex(column);
  int i = StartIndex(start);
  if (i >= end) return SharedValue(kZero);
  for (Obj_Node* element = Element(header, i); i < end; ++i, element = element->objpNext) {
    Obj_Node* key = KeyOf(element, col);
    if (key != nullptr && __Comp(key, v) == 0) return __INIT_DOUBLE(i + 1);
  }
  return SharedValue(kZero);
}
