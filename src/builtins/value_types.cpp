// Questions that a script asks of any value: its type, its length, whether it is empty.
#include <cstring>

#include "builtins/new_text.h"
#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

char typeLetter(varTypes type) {
  switch (type) {
    case varString:
      return 'C';
    case varArray:
      return 'A';
    case varDate:
      return 'D';
    case varNumber:
      return 'N';
    case varBool:
      return 'L';
    default:
      return 'U';
  }
}

bool isBlank(const Obj_Node* text) {
  return !HasText(text) || TextArgument(text).shown.find_first_not_of(' ') == std::string_view::npos;
}

bool isEmpty(Obj_Node* v) {
  if (v->objType == vArray) return __Array_Get_Amnt_Itens(v) < 1;
  switch (v->objVarType) {
    case varString:
      return isBlank(v);
    case varDate:
    case varNumber:
      return v->objData.mdbl == 0;
    case varBool:
      return v->objData.mbool == 0;
    default:
      return true;
  }
}

/// Bytes of a text before its first zero byte, at most as many as its length field says.
int textLength(const Obj_Node* v) {
  if (v->objVarType != varString) ArgumentError();
  if (v->objData.mbuff == nullptr || v->objLength < 1) return 0;
  return static_cast<int>(strnlen(v->objData.mbuff, static_cast<std::size_t>(v->objLength)));
}

int elementLength(const Obj_Node* v) {
  if (v->objVarType == varArray && v->objData.mSubArray != nullptr) return __Array_Get_Amnt_Itens(v->objData.mSubArray);
  return TextArgument(v).length();
}

int lengthOf(Obj_Node* v) {
  switch (v->objType) {
    case vArray:
      return __Array_Get_Amnt_Itens(v);
    case vElArray:
      return elementLength(v);
    case vVariable:
    case vConst:
    case vRegister:
      return textLength(v);
    default:  // the shared values
      ArgumentError();
  }
}

}  // namespace

Obj_Node* __If(short cond, Obj_Node* a, Obj_Node* b) {
  if (a == nullptr || b == nullptr || a->objVarType != b->objVarType) ArgumentError();
  return cond != 0 ? a : b;
}

Obj_Node* __Empty(Obj_Node* v) {
  if (v == nullptr) ArgumentError();
  return __INIT_BOOL(isEmpty(v));
}

Obj_Node* __Len(Obj_Node* v) {
  return __INIT_DOUBLE(v == nullptr ? -1 : lengthOf(v));
}

Obj_Node* __Type(Obj_Node* v) {
  if (v == nullptr) ArgumentError();
  const char letter = typeLetter(v->objVarType);
  return MakeText({&letter, 1});
}
