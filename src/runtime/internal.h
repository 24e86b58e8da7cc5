// Shared by the runtime's own files.
#pragma once

#include <cstddef>

#include "runtime/arguments.h"

namespace vorne {

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

/// Gives the `count` entries of a table of nodes their nodes, which stand behind it: table and nodes are one block.
/// Returns the nodes, not yet filled. The table ends with `spare` null entries. Error 5.
Obj_Node* MakeNodeTable(Obj_Node**& table, std::size_t count, std::size_t spare);

/// What __EndGlobal frees of other files: the named blocks, the pool of constants, the last auxiliary message.
void FreeBlocks();
void FreeConstants();
void ForgetAuxError();
/// What a fatal error does before the process ends; `aux` of -1 is without a message. Called again by a step that
/// fails, it takes the next ones.
void PrepareEnd(int aux);
/// Saves the registered arrays from number `next` on, which counts them. Called again after an error, it skips the
/// array that raised it.
void DumpArraysFrom(int& next);

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

/// Assigns `value` to a slot that outlives the function that does so: its node lives until the run ends.
void StoreForRun(Obj_Node*& slot, Obj_Node* value);

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

}  // namespace vorne
