// Contexts: what dies when a function returns, and what its caller keeps. A context is a number: a call raises it, a
// return ends everything that bears it or a higher one. So a value lives longer by getting a lower number, and nothing
// has to be told where it is held.
#include "runtime/hooks.h"
#include "runtime/internal.h"
#include "runtime/memory.h"
#include "runtime/trace.h"

using namespace vorne;

void __begin_context() {
  ++S_GLOB->LastContext;
}

namespace {

void lockForCaller(Obj_Node* slot) {
  // Not counted in lckstack although the release counts it back; the probe limit of __CheckStack covers the difference.
  slot->objRefCount = static_cast<std::int16_t>(S_GLOB->LastContext - 1);
}

Obj_Node* temporaryCopy(const Obj_Node* value) {
  char* text = HasText(value) ? CopyText(value) : nullptr;
  Obj_Node* slot = __CheckStack();
  slot->objVarType = value->objVarType;
  slot->objLength = value->objLength;
  slot->objData = value->objData;
  if (text != nullptr) slot->objData.mbuff = text;
  return slot;
}

/// What the caller gets for the returned node: it outlives the context that is about to end.
Obj_Node* keepForCaller(Obj_Node* ret) {
  switch (ret->objType) {
    case vElArray:
      if (!IsElementWithArray(ret)) {
        ret = temporaryCopy(ret);  // the element goes with its array
        lockForCaller(ret);
        return ret;
      }
      ret = ret->objData.mSubArray;
      [[fallthrough]];
    case vArray:
    case vVariable:
      // A caller's own variable, passed in by reference and handed back, stays where it is.
      if (ret->objContext >= S_GLOB->LastContext) SetArrayContext(ret, S_GLOB->LastContext - 1);
      return ret;
    case vRegister:
      lockForCaller(ret);
      return ret;
    default:
      return ret;
  }
}

void killVariables() {
  Obj_Node* before = nullptr;
  for (Obj_Node* n = Pool(vVariable).pFirst; n != nullptr;) {
    Obj_Node* after = n->objpNext;
    if (n->objContext >= S_GLOB->LastContext && n->objRefCount == 0) {
      UnlinkFromPool(n, before);
      FreeText(n);
      Release(n);
    } else {
      before = n;
    }
    n = after;
  }
}

}  // namespace

short __KillContext() {
  if (S_GLOB->UI_AmntOBJs != 0 && hooks.closeWindows != nullptr) hooks.closeWindows(S_GLOB->LastContext);
  killVariables();
  KillArrays();
  return S_GLOB->LastContext;
}

Obj_Node* __end_context(Obj_Node* ret) {
  if (ret != nullptr) ret = keepForCaller(ret);
  __KillContext();
  --S_GLOB->LastContext;
  // Behind the lowering: what the returned value was locked with bears the caller's number, and stays.
  __ReleaseStack();
  TrimTrace();
  return ret;
}
