// Comparing, scanning and sorting elements.
#include <algorithm>
#include <cstring>
#include <utility>

#include "runtime/arrays.h"
#include "runtime/memory.h"

using namespace vorne;

namespace {

int sign(double a, double b) {
  return a == b ? 0 : a > b ? 1 : -1;
}

/// An optional 1-based column of rows, as an index.
int columnIndex(const Obj_Node* column) {
  return column == nullptr || IsNil(column) ? 0 : IntOrFail(column) - 1;
}

/// An optional 1-based start, as an index that is not negative.
int startIndex(const Obj_Node* start) {
  const int first = start == nullptr || IsNil(start) ? 1 : IntOrFail(start);
  return first < 1 ? 0 : first - 1;
}

/// What counts of an element: of a row its column, null when the row has none.
Obj_Node* keyOf(Obj_Node* element, int column) {
  if (!IsElementWithArray(element)) return element;
  const Arrays* row = element->objData.mSubArray->objData.mArray;
  if (row == nullptr || column < 0 || column >= row->amntItens) return nullptr;
  return ElementValue(Element(*row, column));
}

/// An end position: the length when missing or out of range.
int endPosition(const Obj_Node* count, int length) {
  if (count == nullptr || IsNil(count)) return length;
  const int end = IntOrFail(count);
  return end < 1 || end > length ? length : end;
}

bool scannable(const Obj_Node* v) {
  return HasText(v) || IsDate(v) || IsNumber(v) || IsLogical(v);
}

struct Sorting {
  bool ascending;
  int column;

  /// Rows without the column stay where they are.
  bool outOfOrder(Obj_Node* a, Obj_Node* b) const {
    Obj_Node* x = keyOf(a, column);
    Obj_Node* y = keyOf(b, column);
    if (x == nullptr || y == nullptr) return false;
    const int c = ascending ? __Comp(x, y) : __Comp(y, x);
    // Logicals compare as different, not as greater: here true comes after false, so that the passes end.
    if (IsLogical(x)) return ascending && IsTrue(x) && !IsTrue(y);
    return c > 0;
  }
};

/// One pass over `count` elements from `first`; true when something moved.
bool sortPass(Obj_Node* first, int count, const Sorting& sorting) {
  bool moved = false;
  Obj_Node* element = first;
  for (int left = count; left > 1; --left, element = element->objpNext) {
    Obj_Node* swap = nullptr;
    Obj_Node* ahead = element->objpNext;
    for (int i = 1; i < left && sorting.outOfOrder(element, ahead); ++i, ahead = ahead->objpNext) swap = ahead;
    if (swap == nullptr) continue;
    __SwapElements(element, swap);
    moved = true;
  }
  return moved;
}

/// Gives a text that moved into a longer place the room that the place's length field promises.
void fitText(Obj_Node* n, std::size_t room) {
  if (!HasText(n) || n->objLength <= 0 || static_cast<std::size_t>(n->objLength) < room) return;
  auto* grown = static_cast<char*>(Allocate(static_cast<std::size_t>(n->objLength) + 1));
  std::memcpy(grown, n->objData.mbuff, room);
  Release(std::exchange(n->objData.mbuff, grown));
}

}  // namespace

int __Comp(Obj_Node* a, Obj_Node* b) {
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
      return (a->objData.mbool != 0) == (b->objData.mbool != 0) ? 0 : 1;
    default:
      ArgumentError();
  }
}

void __SwapElements(Obj_Node* a, Obj_Node* b) {
  if (a == nullptr || b == nullptr) ArgumentError();
  const std::size_t roomA = HasText(a) ? TextRoom(a) : 0;
  const std::size_t roomB = HasText(b) ? TextRoom(b) : 0;
  // Only the data moves: types and length fields belong to the positions. A row and a scalar cannot trade data alone.
  std::swap(a->objData, b->objData);
  if (a->objVarType != b->objVarType) {
    std::swap(a->objVarType, b->objVarType);
    std::swap(a->objLength, b->objLength);
    return;
  }
  fitText(a, roomB);
  fitText(b, roomA);
}

Obj_Node* __AScan(Obj_Node* a, Obj_Node* v, Obj_Node* start, Obj_Node* count, Obj_Node* column) {
  const Arrays& header = HeaderOrFail(a);
  if (!scannable(v)) return SharedValue(kZero);
  const int end = endPosition(count, header.amntItens);
  const int col = columnIndex(column);
  int i = startIndex(start);
  if (i >= end) return SharedValue(kZero);
  for (Obj_Node* element = Element(header, i); i < end; ++i, element = element->objpNext) {
    Obj_Node* key = keyOf(element, col);
    if (key != nullptr && __Comp(key, v) == 0) return __INIT_DOUBLE(i + 1);
  }
  return SharedValue(kZero);
}

Obj_Node* __ASORT(Obj_Node* a, Obj_Node* start, Obj_Node* count, Obj_Node* ascending, Obj_Node* column) {
  const Arrays& header = HeaderOrFail(a);
  const int end = endPosition(count, header.amntItens);
  const int from = startIndex(start);
  if (end < 2 || from >= end) return a;
  const Sorting sorting{!IsLogical(ascending) || IsTrue(ascending), columnIndex(column)};
  Obj_Node* first = Element(header, from);
  while (sortPass(first, end - from, sorting)) {
  }
  return a;
}
