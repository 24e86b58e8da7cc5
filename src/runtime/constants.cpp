// The constant pool and the list of static variables.
#include <algorithm>

#include "runtime/internal.h"
#include "runtime/memory.h"

using namespace vorne;

StaticVar* globstatic = nullptr;

namespace vorne {

void FreeConstants() {
  // The texts are literals of the program; only the nodes, which are one block, are ours.
  if (S_GLOB->mConst != nullptr) Release(S_GLOB->mConst[0]);
  Release(S_GLOB->mConst);
  S_GLOB->mConst = nullptr;
}

}  // namespace vorne

void __const_set_amount(int n) {
  if (n < 0 || n > INT16_MAX) ArgumentError();
  FreeConstants();
  const auto count = static_cast<std::size_t>(n);
  S_GLOB->mConst = static_cast<Obj_Node**>(Allocate((count + 2) * sizeof(Obj_Node*)));
  auto* nodes = static_cast<Obj_Node*>(Allocate(count * sizeof(Obj_Node)));
  S_GLOB->mConst[0] = nodes;
  for (std::size_t i = 0; i < count; ++i) {
    Obj_Node& node = nodes[i];
    node.objType = vConst;
    node.objVarType = varNil;
    node.objLength = -1;
    node.objRefCount = 1;
    node.objContext = -1;
    S_GLOB->mConst[i] = &node;
  }
  S_GLOB->AmountmConst = static_cast<std::int16_t>(n);
  S_GLOB->LastConst = -1;
}

int __const_add_el(Obj_Node* v) {
  const int index = S_GLOB->LastConst + 1;
  if (index >= S_GLOB->AmountmConst || v == nullptr) ArgumentError();
  Obj_Node* constant = S_GLOB->mConst[index];
  constant->objVarType = v->objVarType;
  constant->objData = v->objData;
  if (IsText(v)) {
    constant->objLength = v->objLength;
    v->objData.mbuff = nullptr;
  }
  S_GLOB->LastConst = static_cast<std::int16_t>(index);
  return index;
}

void AddConstants(std::span<const Obj_Node> constants) {
  const int left = S_GLOB->AmountmConst - (S_GLOB->LastConst + 1);
  if (constants.size() > static_cast<std::size_t>(left)) ArgumentError();
  // The pool's nodes are one block in index order.
  if (!constants.empty()) std::copy(constants.begin(), constants.end(), S_GLOB->mConst[S_GLOB->LastConst + 1]);
  S_GLOB->LastConst = static_cast<std::int16_t>(S_GLOB->LastConst + static_cast<int>(constants.size()));
}

Obj_Node* __const_get_el(int i) {
  if (i < 0 || i > S_GLOB->LastConst) ArgumentError();
  return S_GLOB->mConst[i];
}

void __AddStaticStack(void* var) {
  auto* record = static_cast<StaticVar*>(Allocate(sizeof(StaticVar)));
  record->var = var;
  record->context = S_GLOB != nullptr ? S_GLOB->LastContext : 0;
  StaticVar** tail = &globstatic;
  while (*tail != nullptr) tail = &(*tail)->next;
  *tail = record;
}

void __CleanStaticStack() {
  while (globstatic != nullptr) {
    StaticVar* record = globstatic;
    globstatic = record->next;
    if (record->var != nullptr) *static_cast<Obj_Node**>(record->var) = nullptr;
    Release(record);
  }
}
