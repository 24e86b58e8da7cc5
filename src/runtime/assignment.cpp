// __SET_OBJECT: scalars are copied or moved, arrays are shared or moved. Every statement of a script that stores a
// value ends here: a text that nobody else needs moves instead of being copied.
#include <utility>

#include "runtime/array_elements.h"
#include "runtime/memory.h"

using namespace vorne;

namespace {

/// Array over array: the contents move, the source stays behind empty until its own context ends (its variable may
/// still be read).
Obj_Node* moveArray(Obj_Node* dest, Obj_Node* src) {
  std::swap(dest->objData.mArray, src->objData.mArray);
  Truncate(*src->objData.mArray, 0);
  // The elements, and the arrays that they hold, live on with their new owner.
  for (Obj_Node* element = dest->objData.mArray->pFirst; element != nullptr; element = element->objpNext)
    SetArrayContext(element, dest->objContext);
  return dest;
}

/// An array stored into dest: dest's variable becomes the array node, which then lives as long as dest would have.
Obj_Node* shareArray(Obj_Node* dest, Obj_Node* src) {
  if (dest == nullptr) return src;
  if (dest->objType != vRegister) SetArrayContext(src, dest->objContext);
  // The old variable's node: its caller names the array's from now on.
  if (dest->objType == vVariable) __fcObj_DT(dest);
  return src;
}

bool assignable(varTypes type) {
  switch (type) {
    case varLong:
    case varVoidPtr:
    case varNumber:
    case varDate:
    case varBool:
    case varNil:
    case varNul:
    case varString:
      return true;
    default:
      return false;
  }
}

struct Value {
  varTypes type;
  std::int32_t length;
  ObjData data;
};

/// The value of a scalar source; a text leaves an unlocked temporary instead of being copied.
Value takeScalar(Obj_Node* src) {
  Value value{src->objVarType, -1, {}};
  switch (src->objVarType) {
    case varString:
      if (src->objData.mbuff == nullptr) return {varNul, 0, {}};
      value.length = src->objLength;
      if (src->objType == vRegister && src->objRefCount == 0) {
        value.data.mbuff = std::exchange(src->objData.mbuff, nullptr);
        src->objLength = 0;
      } else {
        value.data.mbuff = CopyText(src);
      }
      return value;
    case varBool:
      value.data.mbool = src->objData.mbool;
      return value;
    case varLong:
      value.data.mlong = src->objData.mlong;
      return value;
    case varNil:
    case varNul:
      return value;
    default:  // number, date, pointer: the whole word
      value.data = src->objData;
      return value;
  }
}

/// Nodes that a scalar can be written into.
bool reusable(const Obj_Node* dest) {
  // A scalar over an array makes a new variable: the array's elements belong to others too, and die with its context.
  return dest != nullptr && dest->objType != vRetval && dest->objType != vRegister && dest->objType != vArray;
}

}  // namespace

Obj_Node* __SET_OBJECT(void* destination, Obj_Node* src) {
  auto* dest = static_cast<Obj_Node*>(destination);
  if (src == nullptr) src = SharedValue(kNil);
  // A value assigned to itself would be released before it is read.
  if (dest == src) return src;
  // The whole program shares it.
  if (dest != nullptr && dest->objType == vConst) return dest;
  if (IsArray(src)) {
    if (IsArray(dest)) return moveArray(dest, src);
    if (dest != nullptr && dest->objType == vRetval) dest = nullptr;
    return shareArray(dest, src);
  }
  if (!assignable(src->objVarType)) ArgumentError();
  // Taken before dest gives up what it holds: the source may live inside that.
  const Value value = takeScalar(src);
  if (reusable(dest)) {
    ReleaseValue(dest);
  } else {
    Obj_Node* made = __fcpObj_CT(vVariable);
    // In an array's place it is as old as the array: it may be a caller's variable that a function assigns to.
    if (IsArray(dest)) SetArrayContext(made, dest->objContext);
    dest = made;
  }
  dest->objVarType = value.type;
  dest->objLength = value.length;
  dest->objData = value.data;
  return dest;
}

Obj_Node* __ByRef(Obj_Node** slot) {
  if (slot == nullptr) ArgumentError();
  if (*slot == nullptr) StoreForRun(*slot, __INIT_NIL());
  return *slot;
}

namespace vorne {

void StoreForRun(Obj_Node*& slot, Obj_Node* value) {
  slot = __SET_OBJECT(slot, value);
  SetArrayContext(slot, 1);
}

}  // namespace vorne
