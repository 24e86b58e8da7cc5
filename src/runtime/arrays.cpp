// Arrays: creation, access, appending, removing, inserting. An element that stands for an array holds that array's
// node; several may hold the same one.
#include <array>
#include <cstdarg>
#include <span>

#include "runtime/array_elements.h"
#include "runtime/array_places.h"
#include "runtime/memory.h"

using namespace vorne;

namespace {

void setElement(Obj_Node* element, Obj_Node* v) {
  if (IsArray(v)) {
    HoldArray(element, v);
  } else if (IsElementWithArray(v)) {
    HoldArray(element, v->objData.mSubArray);
  } else {
    __SET_OBJECT(element, v);
  }
}

/// Frees an element that was taken out of its chain.
void freeElement(Obj_Node* element) {
  ReleaseValue(element);
  Release(element);
}

/// An array of as many elements as the first dimension says, each an array for the next one; the deepest are NIL.
Obj_Node* dimensioned(std::span<const int> dims) {
  Obj_Node* array = __fcpObj_CT(vArray);
  for (int i = 0; i < dims[0]; ++i) {
    Obj_Node* element = AppendElement(array);
    if (dims.size() > 1) HoldArray(element, dimensioned(dims.subspan(1)));
  }
  return array;
}

}  // namespace

Obj_Node* __CreateArray(Obj_Node* first, ...) {
  Obj_Node* array = __fcpObj_CT(vArray);
  std::va_list rest;
  va_start(rest, first);
  Obj_Node* v = first;
  for (; v != nullptr && v->objVarType != varNul; v = va_arg(rest, Obj_Node*)) __AAdd(array, v);
  va_end(rest);
  if (v == nullptr) ArgumentError();
  return array;
}

Obj_Node* __Array(Obj_Node* dim1, ...) {
  if (dim1 == nullptr) ArgumentError();
  std::array<int, kDeepestNesting> dims{};
  std::size_t count = 0;
  std::va_list rest;
  va_start(rest, dim1);
  for (Obj_Node* n = dim1; !EndsList(n); n = va_arg(rest, Obj_Node*)) {
    if (count == dims.size()) BoundError();
    dims[count++] = IntArgument(n);
  }
  va_end(rest);
  return count == 0 ? __fcpObj_CT(vArray) : dimensioned({dims.data(), count});
}

Obj_Node* __NewArrayElement(Obj_Node* a, Obj_Node* v) {
  HeaderOrFail(a);
  if (v == nullptr) ArgumentError();
  Obj_Node* element = AppendElement(a);
  if (!IsNil(v)) setElement(element, v);
  // What is stored in an older array must not die with the function that made it.
  SetArrayContext(v, a->objContext);
  return element;
}

Obj_Node* __AAdd(Obj_Node* a, Obj_Node* v) {
  __NewArrayElement(a, v);
  return a;
}

int __Array_Get_Amnt_Itens(Obj_Node* a) {
  if (!IsArray(a)) ArgumentError();
  return a->objData.mArray == nullptr ? -1 : a->objData.mArray->amntItens;
}

Obj_Node* __Array_Get_Item(Obj_Node* a, Obj_Node* n) {
  HeaderOrFail(a);
  const int position = IntArgument(n);
  if (position < 1) BoundError();
  return __GET_ARRAY_EL(a, position - 1);
}

Obj_Node* __ARRAY_EL(Obj_Node* a, Obj_Node* idx1, ...) {
  HeaderOrFail(a);
  Obj_Node* value = a;
  std::va_list rest;
  va_start(rest, idx1);
  // The walk ends at the first value that is not an array, whatever indexes follow.
  for (Obj_Node* n = idx1; !EndsList(n) && IsArray(value); n = va_arg(rest, Obj_Node*)) {
    value = __Array_Get_Item(value, n);
  }
  va_end(rest);
  return value;
}

short __SET_ARRAY_EL(Obj_Node* a, Obj_Node* v, int i) {
  if (v == nullptr) ArgumentError();
  setElement(__GET_OBJ_ARRAY_EL(a, i), v);
  return 1;
}

Obj_Node* __DelEl(Obj_Node* a, int n, short addNil) {
  Arrays& header = HeaderOrFail(a);
  if (n < 1 || n > header.amntItens) return a;
  Obj_Node* before = n == 1 ? nullptr : Element(header, n - 2);
  ForgetPlaces(header, n - 1);
  Obj_Node*& link = before == nullptr ? header.pFirst : before->objpNext;
  Obj_Node* element = link;
  const bool heldArray = IsElementWithArray(element);
  link = element->objpNext;
  if (header.pLast == element) header.pLast = before;
  --header.amntItens;
  freeElement(element);
  if (addNil != 0) {
    Obj_Node* filler = AppendElement(a);
    if (heldArray) HoldArray(filler, __fcpObj_CT(vArray));
  }
  return a;
}

Obj_Node* __ADel(Obj_Node* a, Obj_Node* n) {
  HeaderOrFail(a);
  return __DelEl(a, IntArgument(n), 1);
}

Obj_Node* __ASize(Obj_Node* a, Obj_Node* n) {
  Arrays& header = HeaderOrFail(a);
  const int size = IntArgument(n);
  if (header.amntItens == 0) return a;  // an empty array does not grow
  if (size >= header.amntItens) {
    while (header.amntItens < size) AppendElement(a);
    return a;
  }
  Truncate(header, size < 0 ? 0 : size);
  return a;
}

Obj_Node* __AIns(Obj_Node* a, Obj_Node* n) {
  Arrays& header = HeaderOrFail(a);
  const int position = IntArgument(n);
  const int count = header.amntItens;
  if (position < 1 || position > count) return a;
  // The last element makes room for the new one: the array keeps its length.
  __DelEl(a, count, 0);
  Obj_Node* element = AppendElement(a);
  if (position == count) return a;
  // Move the new element from the end to its place.
  Obj_Node* newLast = Element(header, count - 2);
  Obj_Node* before = position > 1 ? Element(header, position - 2) : nullptr;
  ForgetPlaces(header, position - 1);
  newLast->objpNext = nullptr;
  header.pLast = newLast;
  Obj_Node*& link = before == nullptr ? header.pFirst : before->objpNext;
  element->objpNext = link;
  link = element;
  return a;
}
