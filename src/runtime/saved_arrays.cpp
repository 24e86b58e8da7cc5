// Arrays that a fatal error saves, for the next run to restore. The list is an array of pairs, name and array, so that
// an array that is registered is held by it like by any other.
#include <cstdio>
#include <cstring>
#include <utility>

#include "runtime/array_elements.h"
#include "runtime/hooks.h"
#include "runtime/internal.h"
#include "runtime/latin1.h"

using namespace vorne;

namespace {

/// The registered pair of that name, null for none.
Obj_Node* registeredPair(const char* name) {
  const Arrays& pairs = *pDumpArrays->objData.mArray;
  for (Obj_Node* element = pairs.pFirst; element != nullptr; element = element->objpNext) {
    Obj_Node* pair = element->objData.mSubArray;
    if (std::strcmp(__GET_ARRAY_EL(pair, 0)->objData.mbuff, name) == 0) return pair;
  }
  return nullptr;
}

/// Makes the list of saved arrays, which outlives every context of the run.
void makeDumpList() {
  pDumpArrays = __fcpObj_CT(vArray);
  pDumpArrays->objContext = -1;
}

void logUnsaved(const char* name) {
  if (hooks.logFailure == nullptr) return;
  char line[128];
  std::snprintf(line, sizeof line, "Array %.64s %s", name, "não foi salvo"_l1);
  hooks.logFailure(line);
}

}  // namespace

namespace vorne {

void DumpArraysFrom(int& next) {
  // Saving may end in a fatal error of its own, which comes back here: that array is told as unsaved, and the next one
  // tried.
  static const char* underWay = nullptr;
  if (underWay != nullptr) logUnsaved(std::exchange(underWay, nullptr));
  if (pDumpArrays == nullptr || S_GLOB == nullptr) return;
  const Arrays& pairs = *pDumpArrays->objData.mArray;
  while (next < pairs.amntItens) {
    Obj_Node* pair = Element(pairs, next++)->objData.mSubArray;
    Obj_Node* array = __GET_ARRAY_EL(pair, 1);
    // An empty one has nothing to save, and leaves an older copy alone.
    if (__Array_Get_Amnt_Itens(array) < 1) continue;
    underWay = __GET_ARRAY_EL(pair, 0)->objData.mbuff;
    if (!IsTrue(ExecDumpArray(__GET_ARRAY_EL(pair, 0), array))) logUnsaved(underWay);
    underWay = nullptr;
  }
}

}  // namespace vorne

Obj_Node* __RegisterArray(Obj_Node* name, Obj_Node* arr) {
  if (name == nullptr || arr == nullptr) return Logical(false);
  if (!HasText(name)) ArgumentError();
  if (!IsArray(arr)) return Logical(false);
  if (pDumpArrays == nullptr) makeDumpList();
  if (registeredPair(name->objData.mbuff) != nullptr) return Logical(false);
  Obj_Node* pair = __fcpObj_CT(vArray);
  __AAdd(pair, name);
  // Held, not handed over: the array stays its owner's, but lives as long as the list does.
  __AAdd(pair, arr);
  __AAdd(pDumpArrays, pair);
  return Logical(true);
}

void __DumpArray() {
  int next = 0;
  DumpArraysFrom(next);
}

Obj_Node* ExecDumpArray(Obj_Node* name, Obj_Node* arr) {
  if (!HasText(name) || !IsArray(arr) || arr->objData.mArray->amntItens == 0) return Logical(false);
  return Logical(hooks.saveArray != nullptr && hooks.saveArray(name->objData.mbuff, arr));
}

Obj_Node* __RestoreArray(Obj_Node* name) {
  if (!HasText(name)) ArgumentError();
  Obj_Node* restored = hooks.restoreArray == nullptr ? nullptr : hooks.restoreArray(name->objData.mbuff);
  return restored == nullptr ? __INIT_NIL() : restored;
}
