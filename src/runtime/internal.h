// Shared by the runtime's own files.
#pragma once

#include <cstddef>

#include "runtime/vorneobjs.h"

namespace vorne {

/// Raises error 0 with auxiliary number -1: a wrong argument.
[[noreturn]] inline void ArgumentError() {
  __RuntimeError(0, -1);
}
/// Raises error 1 with auxiliary number -1: an index outside an array.
[[noreturn]] inline void BoundError() {
  __RuntimeError(1, -1);
}

/// Indexes of the shared values in ObjsGlobals::mRetVal.
enum Shared : int {
  kFalse = 0,
  kTrue = 1,
  kZero = 5,
  kNoBuffer = 6,
  kOne = 7,  // stands for a missing operand of arithmetic and ordering
  kEmptyText = 8,
  kNil = 9,
  kNul = 10,
  kSharedCount = 15,
  kSharedRoom = 16,
};

inline Obj_Node* SharedValue(Shared index) {
  return S_GLOB->mRetVal[index];
}
inline Obj_Node* Logical(bool v) {
  return SharedValue(v ? kTrue : kFalse);
}

inline bool IsText(const Obj_Node* n) {
  return n != nullptr && n->objVarType == varString;
}
/// A text that can be read: one whose buffer was moved away is none.
inline bool HasText(const Obj_Node* n) {
  return IsText(n) && n->objData.mbuff != nullptr;
}
inline bool IsNumber(const Obj_Node* n) {
  return n != nullptr && n->objVarType == varNumber;
}
inline bool IsDate(const Obj_Node* n) {
  return n != nullptr && n->objVarType == varDate;
}
inline bool IsLogical(const Obj_Node* n) {
  return n != nullptr && n->objVarType == varBool;
}
inline bool IsNil(const Obj_Node* n) {
  return n != nullptr && n->objVarType == varNil;
}
inline bool IsTrue(const Obj_Node* n) {
  return IsLogical(n) && n->objData.mbool != 0;
}
/// An array node (not an element that holds an array).
inline bool IsArray(const Obj_Node* n) {
  return n != nullptr && n->objType == vArray;
}
inline bool IsElementWithArray(const Obj_Node* n) {
  return n != nullptr && n->objType == vElArray && n->objVarType == varArray && n->objData.mSubArray != nullptr;
}

inline double NumberOrFail(const Obj_Node* n) {
  if (!IsNumber(n)) ArgumentError();
  return n->objData.mdbl;
}
inline int IntOrFail(const Obj_Node* n) {
  return ToInt(NumberOrFail(n));
}

/// Gives the `count` entries of a table of nodes their nodes, which stand behind it: table and nodes are one block.
/// Returns the nodes, not yet filled. The table ends with `spare` null entries. Error 5.
Obj_Node* MakeNodeTable(Obj_Node**& table, std::size_t count, std::size_t spare);

/// Slots of the value stack handed out since __BeginGlobal are those below this index; most calls need few of them.
extern int usedSlots;

/// Frees the node's text, if it holds one; the node keeps its type.
void FreeText(Obj_Node* n);
/// Bytes that a text's buffer must have, its content and one more zero included.
std::size_t TextRoom(const Obj_Node* text);
/// A text temporary that takes over `buffer`, which is filled already: the slot taken here may be the one that held the
/// text it was made from.
Obj_Node* TextTemporary(char* buffer, std::int32_t length);
/// A fresh copy of a text's bytes by the rule of bCheckBuffer. Error 5.
char* CopyText(const Obj_Node* text);

/// The pool of a storage class; only vArray, vVariable and vElArray have one.
inline ObjCDND& Pool(ObjType type) {
  return S_GLOB->cdnptr[type];
}
/// Appends a node to its pool's list.
void AppendToPool(Obj_Node* n);
/// Takes a node out of its pool; `before` is the node in front of it, null for the first.
void UnlinkFromPool(Obj_Node* n, Obj_Node* before);

/// Releases what a node holds: its text, or an element's share of a sub-array.
void ReleaseValue(Obj_Node* n);
/// Kills every array of the pool that the context from `LastContext` on owns and nobody holds.
void KillArrays();
/// Frees everything in the pools, whoever holds it.
void FreePools();

/// Walks a list of variadic arguments up to null or a varNul node.
inline bool EndsList(const Obj_Node* n) {
  return n == nullptr || n->objVarType == varNul;
}

}  // namespace vorne
