// Letting arrays go. An array may hold many others, which may hold more: the walk uses a list of its own instead of
// the call stack, dead nodes are only marked while it runs, and one pass over the pool takes them out together.
#include "runtime/array_elements.h"
#include "runtime/array_places.h"
#include "runtime/memory.h"

using namespace vorne;

namespace {

/// A dead array node keeps its place in the pool until the sweep; its header is gone.
bool dead(const Obj_Node* array) {
  return array->objData.mArray == nullptr;
}

bool dies(const Obj_Node* n) {
  // Its context ends now, and nothing that lives on holds it.
  return n->objContext >= S_GLOB->LastContext && n->objRefCount == 0;
}

/// Elements that died while holding an array, linked through objpNext.
using Pending = Obj_Node*;

/// Frees the dying elements of a chain; elements that held arrays wait in `pending`.
void emptyChain(Arrays& header, Pending& pending) {
  Obj_Node* kept = nullptr;
  ForgetPlaces(header, 0);
  for (Obj_Node* element = header.pFirst; element != nullptr;) {
    Obj_Node* next = element->objpNext;
    if (!dies(element)) {
      kept = element;
    } else {
      (kept == nullptr ? header.pFirst : kept->objpNext) = next;
      --header.amntItens;
      if (IsElementWithArray(element)) {
        element->objpNext = pending;
        pending = element;
      } else {
        FreeText(element);
        Release(element);
      }
    }
    element = next;
  }
  header.pLast = kept;
}

/// The same for an array, which is dead when none is left.
void emptyArray(Obj_Node* array, Pending& pending) {
  emptyChain(*array->objData.mArray, pending);
  if (array->objData.mArray->pFirst != nullptr) return;
  ReleaseArrayHeader(array->objData.mArray);
  array->objData.mArray = nullptr;
}

/// Frees the elements in `pending`, and what they alone held.
void releaseHeld(Pending pending) {
  while (pending != nullptr) {
    Obj_Node* element = pending;
    pending = element->objpNext;
    Obj_Node* held = element->objData.mSubArray;
    Release(element);
    --held->objRefCount;
    if (!dead(held) && dies(held)) emptyArray(held, pending);
  }
}

/// True when the array, or any that it held, died.
bool release(Obj_Node* array) {
  if (dead(array) || !dies(array)) return false;
  Pending pending = nullptr;
  emptyArray(array, pending);
  releaseHeld(pending);
  return true;
}

/// Takes the dead nodes out of the pool.
void sweepArrays() {
  Obj_Node* before = nullptr;
  for (Obj_Node* n = Pool(vArray).pFirst; n != nullptr;) {
    Obj_Node* next = n->objpNext;
    if (dead(n) && n->objRefCount <= 0) {
      UnlinkFromPool(n, before);
      Release(n);
    } else {
      before = n;
    }
    n = next;
  }
}

}  // namespace

namespace vorne {

void ReleaseValue(Obj_Node* n) {
  FreeText(n);
  if (!IsElementWithArray(n)) return;
  // An array that lost its last holder waits for the end of its context: a variable may name it without counting as a
  // holder, and it may be the very array that is being changed.
  --n->objData.mSubArray->objRefCount;
  n->objVarType = varNil;
  n->objData = {};
}

void KillArrays() {
  bool any = false;
  for (Obj_Node* n = Pool(vArray).pFirst; n != nullptr; n = n->objpNext) any = release(n) || any;
  if (any) sweepArrays();
}

void FreePools() {
  for (Obj_Node* array = Pool(vArray).pFirst; array != nullptr;) {
    Obj_Node* next = array->objpNext;
    if (!dead(array)) {
      // An array that an element holds stands in the pool itself, and has its turn there.
      for (Obj_Node* element = array->objData.mArray->pFirst; element != nullptr;) {
        Obj_Node* after = element->objpNext;
        FreeText(element);
        Release(element);
        element = after;
      }
      ReleaseArrayHeader(array->objData.mArray);
    }
    Release(array);
    array = next;
  }
  for (Obj_Node* n = Pool(vVariable).pFirst; n != nullptr;) {
    Obj_Node* next = n->objpNext;
    FreeText(n);
    Release(n);
    n = next;
  }
  for (ObjType type : {vArray, vVariable}) {
    Pool(type).pFirst = Pool(type).pLast = nullptr;
    Pool(type).Amount = 0;
  }
}

}  // namespace vorne

Obj_Node* __KillArray(Obj_Node* a) {
  if (!IsArray(a)) return nullptr;
  if (!release(a)) return a->objpNext;
  // Whatever survives behind the array is what the walk goes on with; the array itself is gone after the sweep.
  Obj_Node* next = a->objpNext;
  while (next != nullptr && dead(next) && next->objRefCount <= 0) next = next->objpNext;
  sweepArrays();
  return next;
}

short __KillArrayEl(Arrays* header) {
  if (header == nullptr) ArgumentError();
  Pending pending = nullptr;
  emptyChain(*header, pending);
  releaseHeld(pending);
  sweepArrays();
  return header->pFirst == nullptr;
}
