// The ring of temporaries: taking a slot, locking and unlocking. The ring gives its slots out in turn: a temporary
// lives until as many others have been made, unless it is locked. Locked ones are passed over and keep the number of
// the context that locked them.
#include <cstdarg>

#include "runtime/internal.h"

using namespace vorne;

int iMaxStackElements = 150;
int limitstack = 149;
int lckstack = 0;

void __SetMaxStackElements(int n) {
  // Fewer slots could not hold one call's arguments; the index of a slot is a 16-bit field.
  if (n < 16 || n > 32000 || S_GLOB != nullptr) return;
  iMaxStackElements = n;
  limitstack = n - 1;
}

namespace vorne {

// Slots that were ever given out in this run; those behind them are as they were made.
int usedSlots = 0;

}  // namespace vorne

namespace {

int freeSlot() {
  // All locked: without this the search would only find it out after going round.
  if (iMaxStackElements <= lckstack) __RuntimeError(15, -1);
  int i = S_GLOB->StackPos;
  for (int probes = 0; S_GLOB->mNode[i]->objRefCount != 0; ++probes) {
    // A probe never lands on the last slot: which temporary a full ring gives up next depends on it.
    if (++i >= limitstack) i = 0;
    if (probes >= iMaxStackElements - 1) __RuntimeError(15, -1);
  }
  return i;
}

void dropText(Obj_Node* slot) {
  if (slot->objVarType == varString) FreeText(slot);
}

bool lock(Obj_Node* n) {
  if (n->objType != vRegister || n->objRefCount != 0) return false;
  n->objRefCount = S_GLOB->LastContext;
  ++lckstack;
  return true;
}

}  // namespace

Obj_Node* __CheckStack() {
  const int i = freeSlot();
  Obj_Node* slot = S_GLOB->mNode[i];
  dropText(slot);
  S_GLOB->StackPos = static_cast<std::int16_t>(i < limitstack ? i + 1 : 0);
  if (i >= usedSlots) usedSlots = i + 1;
  return slot;
}

int __LockStack(Obj_Node* first, ...) {
  std::va_list rest;
  va_start(rest, first);
  for (Obj_Node* n = first; !EndsList(n); n = va_arg(rest, Obj_Node*)) lock(n);
  va_end(rest);
  return 0;
}

int LockStack(std::initializer_list<Obj_Node*> nodes) {
  for (Obj_Node* n : nodes) {
    if (n != nullptr) lock(n);
  }
  return 0;
}

void __ReleaseStack() {
  for (int i = 0; i < usedSlots; ++i) {
    Obj_Node* slot = S_GLOB->mNode[i];
    // Called when a context has ended: what it had locked bears a higher number than the context that goes on.
    if (slot->objRefCount == 0 || slot->objRefCount <= S_GLOB->LastContext) continue;
    slot->objRefCount = 0;
    dropText(slot);
    if (lckstack > 0) --lckstack;
  }
}

void __ReleaseStack2() {
  for (int i = 0; i < usedSlots; ++i) {
    if (S_GLOB->mNode[i]->objRefCount == 0) dropText(S_GLOB->mNode[i]);
  }
}
