// Native blocks that scripts call by name, and the questions that a script asks of its runtime.
#include <strings.h>

#include <cstdio>
#include <cstring>

#include "runtime/hooks.h"
#include "runtime/internal.h"
#include "runtime/memory.h"

using namespace vorne;

namespace {

constexpr std::size_t kLongestName = 12;
constexpr char kPrefix[] = "U_";

execblockinfo* findBlock(const char* storedName) {
  for (execblockinfo* block = S_GLOB->ExecBlock; block != nullptr; block = block->next) {
    if (strcasecmp(block->sBlockName, storedName) == 0) return block;
  }
  return nullptr;
}

/// The block that a script means by `name`; null for none.
execblockinfo* blockOf(const Obj_Node* name, const char* prefix) {
  if (S_GLOB->ExecBlock == nullptr || name == nullptr) return nullptr;
  if (!HasText(name)) ArgumentError();
  // The length counts the terminator, so a name of 12 characters can be registered but never found.
  if (name->objLength > static_cast<int>(kLongestName) || std::strlen(name->objData.mbuff) > kLongestName)
    return nullptr;
  char stored[sizeof(execblockinfo::sBlockName)];
  std::snprintf(stored, sizeof stored, "%s%s", prefix, name->objData.mbuff);
  return findBlock(stored);
}

}  // namespace

namespace vorne {

void FreeBlocks() {
  while (S_GLOB->ExecBlock != nullptr) {
    execblockinfo* next = S_GLOB->ExecBlock->next;
    Release(S_GLOB->ExecBlock);
    S_GLOB->ExecBlock = next;
  }
}

}  // namespace vorne

short RegisterBlock(const char* name, BlockFunction func) {
  if (func == nullptr || name == nullptr || *name == '\0' || std::strlen(name) > kLongestName) return 0;
  auto* block = static_cast<execblockinfo*>(Allocate(sizeof(execblockinfo)));
  std::snprintf(block->sBlockName, sizeof block->sBlockName, "%s%s", kPrefix, name);
  block->func = func;
  // Behind the others: a name that is registered twice keeps its first block.
  execblockinfo** tail = &S_GLOB->ExecBlock;
  while (*tail != nullptr) tail = &(*tail)->next;
  *tail = block;
  return 1;
}

Obj_Node* ExistBlock(Obj_Node* name) {
  return Logical(blockOf(name, kPrefix) != nullptr);
}

Obj_Node* ExecBlock(Obj_Node* name, Obj_Node* /*a2*/, Obj_Node* /*a3*/, Obj_Node* param, Obj_Node* lNoPrefix) {
  const execblockinfo* block = blockOf(name, IsTrue(lNoPrefix) ? "" : kPrefix);
  return block == nullptr ? Logical(false) : block->func(param);
}

Obj_Node* SHUTDOWN() {
  S_GLOB->bRestart = 1;
  if (hooks.closeDialog != nullptr) hooks.closeDialog();
  return nullptr;
}

Obj_Node* __GetRTVer() {
  char text[64];
  std::snprintf(text, sizeof text, "%s %s", __DATE__, __TIME__);
  return __INIT_CHARPTR(text);
}

const char* __MemoryReport() {
  static char report[128];
  const auto alive = [](ObjType pool) { return S_GLOB != nullptr ? Pool(pool).Amount : 0; };
  // Nothing is counted for the first line; it stands for programs that read the report line by line.
  std::snprintf(report, sizeof report, "malloc-free=%i\npObj=%d\nArrays=%d\nvElArray=%d\nLocked Stack=%d", 0,
                alive(vVariable), alive(vArray), alive(vElArray), S_GLOB != nullptr ? lckstack : 0);
  return report;
}
