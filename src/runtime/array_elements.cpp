// Elements are nodes of their own in a chain; an element that stands for an array holds the array's node and counts as
// one of its holders.
#include "runtime/array_elements.h"

#include "runtime/array_places.h"
#include "runtime/memory.h"

using namespace vorne;

namespace vorne {

Obj_Node* Element(const Arrays& header, int i) {
  if (i < 0 || i >= header.amntItens) BoundError();
  // Scripts that append and then look at the last element take no walk.
  if (i == header.amntItens - 1 && header.pLast != nullptr) return header.pLast;
  Obj_Node* element = ElementAt(header, i);
  if (element == nullptr) BoundError();
  return element;
}

void HoldArray(Obj_Node* element, Obj_Node* array) {
  if (array->objRefCount == INT16_MAX) BoundError();  // the count of holders is a 16-bit field
  ++array->objRefCount;
  // It lives as long as its holder, also for variables that name it when it is let go.
  SetArrayContext(array, element->objContext);
  // Behind the new holder's counting: the element may hold this very array, or one that holds it.
  ReleaseValue(element);
  element->objVarType = varArray;
  element->objLength = -1;
  element->objData.mSubArray = array;
}

Obj_Node* AppendElement(Obj_Node* array) {
  Arrays& header = HeaderOrFail(array);
  if (header.amntItens >= kMostElements) BoundError();
  Obj_Node* element = __fcpObj_CT(vElArray);
  element->objContext = array->objContext;
  (header.pLast == nullptr ? header.pFirst : header.pLast->objpNext) = element;
  header.pLast = element;
  ++header.amntItens;
  return element;
}

void Truncate(Arrays& header, int kept) {
  if (kept >= header.amntItens) return;
  Obj_Node* last = kept == 0 ? nullptr : Element(header, kept - 1);
  ForgetPlaces(header, kept);
  Obj_Node*& end = last == nullptr ? header.pFirst : last->objpNext;
  Obj_Node* removed = end;
  end = nullptr;
  header.pLast = last;
  header.amntItens = static_cast<std::int16_t>(kept);
  while (removed != nullptr) {
    Obj_Node* next = removed->objpNext;
    ReleaseValue(removed);
    Release(removed);
    removed = next;
  }
}

}  // namespace vorne

Obj_Node* __GET_OBJ_ARRAY_EL(Obj_Node* a, int i) {
  return Element(HeaderOrFail(a), i);
}
Obj_Node* __GET_ARRAY_EL(Obj_Node* a, int i) {
  return ElementValue(Element(HeaderOrFail(a), i));
}

void SetArrayContext(Obj_Node* node, int ctx) {
  // Only downwards: what belongs to an older context already stays there.
  if (node == nullptr || node->objContext <= ctx) return;
  if (node->objType != vVariable && node->objType != vElArray && node->objType != vArray) return;
  // Lowered before its elements, so that arrays which hold themselves end the walk.
  node->objContext = static_cast<std::int16_t>(ctx);
  if (IsElementWithArray(node)) SetArrayContext(node->objData.mSubArray, ctx);
  if (!IsArray(node) || node->objData.mArray == nullptr) return;
  for (Obj_Node* element = node->objData.mArray->pFirst; element != nullptr; element = element->objpNext) {
    SetArrayContext(element, ctx);
  }
}
