// The constant pool and the list of static variables. Two makers of pools: programs add theirs one by one, the library
// lends a table that is made at compile time.
#include <algorithm>

#include "runtime/internal.h"
#include "runtime/memory.h"

using namespace vorne;

StaticVar* globstatic = nullptr;

namespace {

Obj_Node** ownPool = nullptr;  // the pool that __const_set_amount made; a lent one is not ours to free

void usePool(Obj_Node** table, std::size_t count, std::size_t filled) {
  S_GLOB->mConst = table;
  S_GLOB->AmountmConst = static_cast<std::int16_t>(count);
  S_GLOB->LastConst = static_cast<std::int16_t>(static_cast<int>(filled) - 1);
}

}  // namespace

namespace vorne {

void FreeConstants() {
  // The texts are literals of the program; only the pool itself is ours.
  Release(ownPool);
  ownPool = nullptr;
  S_GLOB->mConst = nullptr;
}

}  // namespace vorne

void __const_set_amount(int n) {
  if (n < 0 || n > INT16_MAX) ArgumentError();
  const auto count = static_cast<std::size_t>(n);
  static constexpr Obj_Node kUnset{nullptr, vConst, varNil, -1, {}, 1, -1};
  FreeConstants();
  std::fill_n(MakeNodeTable(ownPool, count, 2), count, kUnset);
  usePool(ownPool, count, 0);
}

void SetConstants(std::span<Obj_Node*> constants) {
  if (constants.size() > INT16_MAX) ArgumentError();
  FreeConstants();
  usePool(constants.data(), constants.size(), constants.size());
}

int __const_add_el(Obj_Node* v) {
  const int index = S_GLOB->LastConst + 1;
  if (index >= S_GLOB->AmountmConst || v == nullptr) ArgumentError();
  Obj_Node* constant = S_GLOB->mConst[index];
  constant->objVarType = v->objVarType;
  constant->objData = v->objData;
  if (IsText(v)) {
    constant->objLength = v->objLength;
    // The text moves: the temporary that it came in must not free it.
    v->objData.mbuff = nullptr;
  }
  S_GLOB->LastConst = static_cast<std::int16_t>(index);
  return index;
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
    // The values are gone with the run: another one in the same process must not find where they were.
    if (record->var != nullptr) *static_cast<Obj_Node**>(record->var) = nullptr;
    Release(record);
  }
}
