// Constructors of values, creation and release of variable nodes. Three kinds of nodes are made here: temporaries of
// the ring, which the next statements take again; variables and arrays of the pools, which end with their context;
// constants, which nobody frees.
#include <cstring>

#include "runtime/array_places.h"
#include "runtime/internal.h"
#include "runtime/memory.h"

using namespace vorne;

namespace {

Obj_Node* temporary(varTypes type) {
  Obj_Node* n = __CheckStack();
  n->objVarType = type;
  n->objLength = -1;
  n->objData = {};
  return n;
}

/// Zeroed room for a text with that length field.
char* newBuffer(int length) {
  return static_cast<char*>(Allocate(static_cast<std::size_t>(length) + 1));
}

// One for all: it is good until the next call.
Obj_Node stringConstant{};

}  // namespace

Obj_Node* __INIT_NIL() {
  return SharedValue(kNil);
}
Obj_Node* __INIT_NUL() {
  return SharedValue(kNul);
}
Obj_Node* __INIT_BOOL(short v) {
  return Logical(v != 0);
}

Obj_Node* __INIT_LONG(long v) {
  Obj_Node* n = temporary(varLong);
  n->objData.mlong = static_cast<std::int32_t>(v);
  return n;
}

Obj_Node* __INIT_DOUBLE(double v) {
  Obj_Node* n = temporary(varNumber);
  n->objData.mdbl = v;
  return n;
}

Obj_Node* __INIT_DATE(double v) {
  Obj_Node* n = temporary(varDate);
  n->objData.mdt = v;
  return n;
}

Obj_Node* __INIT_VOIDPTR(void* p) {
  Obj_Node* n = temporary(varVoidPtr);
  n->objData.mbuff = static_cast<char*>(p);
  return n;
}

Obj_Node* __INIT_CHARPTR(const char* s) {
  const std::size_t size = s == nullptr ? 0 : std::strlen(s);
  if (size >= INT32_MAX - 1) __RuntimeError(5, -1);
  // At least 2, so that the empty text compares as one (zero) byte: scripts rely on "" matching nothing.
  const int length = size == 0 ? 2 : static_cast<int>(size) + 1;
  char* buffer = newBuffer(length);
  if (size != 0) std::memcpy(buffer, s, size);
  return TextTemporary(buffer, length);
}

Obj_Node* __ALLOC_CHARPTR(int n) {
  if (n < 0 || n == INT32_MAX) __RuntimeError(5, -1);
  return TextTemporary(newBuffer(n + 1), n + 1);
}

Obj_Node* __INIT_CHARCONST(const char* s) {
  stringConstant = {};
  stringConstant.objType = vConst;
  stringConstant.objVarType = varString;
  stringConstant.objLength = s == nullptr ? 0 : static_cast<std::int32_t>(std::strlen(s)) + 1;
  stringConstant.objData.mbuff = const_cast<char*>(s);
  stringConstant.objContext = -1;
  return &stringConstant;
}

void __InitObjNode(void* n, int varType) {
  auto* node = static_cast<Obj_Node*>(n);
  *node = {};
  node->objType = vVariable;
  node->objVarType = static_cast<varTypes>(varType);
  node->objLength = -1;
}

Obj_Node* __fcpObj_CT(int objType) {
  const bool array = objType == vArray;
  // The header first: without memory for it or for the node, no pool knows of either yet.
  auto* header = array ? NewArrayHeader() : nullptr;
  auto* n = static_cast<Obj_Node*>(TryAllocate(sizeof(Obj_Node)));
  if (n == nullptr) {
    ReleaseArrayHeader(header);
    __RuntimeError(5, -1);
  }
  n->objType = static_cast<ObjType>(objType);
  n->objVarType = array ? varArray : varNil;
  n->objLength = -1;
  n->objContext = S_GLOB->LastContext;
  if (array) n->objData.mArray = header;
  if (objType == vArray || objType == vVariable) AppendToPool(n);
  return n;
}

Obj_Node* __fcObj_DT(Obj_Node* n) {
  if (n == nullptr || n->objRefCount < 0) return nullptr;
  if (n->objRefCount > 0) {
    --n->objRefCount;
    return n->objpNext;
  }
  if (n->objType != vVariable) return nullptr;
  ObjCDND& pool = Pool(vVariable);
  Obj_Node* before = nullptr;
  for (Obj_Node* i = pool.pFirst; i != nullptr && i != n; i = i->objpNext) before = i;
  Obj_Node* after = n->objpNext;
  UnlinkFromPool(n, before);
  FreeText(n);
  Release(n);
  return after;
}

namespace vorne {

Obj_Node* MakeNodeTable(Obj_Node**& table, std::size_t count, std::size_t spare) {
  static_assert(alignof(Obj_Node) <= 2 * sizeof(Obj_Node*));
  const std::size_t entries = (count + spare + 1) / 2 * 2;  // an even number keeps the nodes aligned
  void* block = AllocateRaw(entries * sizeof(Obj_Node*) + count * sizeof(Obj_Node));
  table = static_cast<Obj_Node**>(block);
  auto* nodes = reinterpret_cast<Obj_Node*>(table + entries);
  for (std::size_t i = 0; i < count; ++i) table[i] = &nodes[i];
  for (std::size_t i = count; i < entries; ++i) table[i] = nullptr;
  return nodes;
}

Obj_Node* TextTemporary(char* buffer, std::int32_t length) {
  Obj_Node* n = temporary(varString);
  n->objLength = length;
  n->objData.mbuff = buffer;
  return n;
}

void AppendToPool(Obj_Node* n) {
  ObjCDND& pool = Pool(n->objType);
  (pool.Amount == 0 ? pool.pFirst : pool.pLast->objpNext) = n;
  pool.pLast = n;
  ++pool.Amount;
}

void UnlinkFromPool(Obj_Node* n, Obj_Node* before) {
  ObjCDND& pool = Pool(n->objType);
  (before == nullptr ? pool.pFirst : before->objpNext) = n->objpNext;
  if (pool.pLast == n) pool.pLast = before;
  if (--pool.Amount == 0) pool.pFirst = pool.pLast = nullptr;
}

}  // namespace vorne
