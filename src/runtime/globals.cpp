// The global record: made by __BeginGlobal, gone after __EndGlobal.
#include <cstring>

#include "runtime/hooks.h"
#include "runtime/internal.h"
#include "runtime/memory.h"
#include "runtime/trace.h"

using namespace vorne;

ObjsGlobals* S_GLOB = nullptr;

namespace vorne {
void FreeBlocks();
void FreeConstants();
void ForgetAuxError();
}  // namespace vorne

namespace {

constexpr int kPools = 4;
constexpr int kSettings = 14;
constexpr std::int32_t kStoredNodeSize = 28;

void makePools(ObjsGlobals& glob) {
  glob.cdnptr = static_cast<ObjCDND*>(Allocate(kPools * sizeof(ObjCDND)));
  for (int i = 0; i < kPools - 1; ++i) {
    glob.cdnptr[i].objType = 1;
    glob.cdnptr[i].objsize = kStoredNodeSize;
    glob.cdnptr[i].funcCT = __fcpObj_CT;
  }
}

void makeValueStack(ObjsGlobals& glob) {
  const auto slots = static_cast<std::size_t>(iMaxStackElements);
  glob.mNode = static_cast<Obj_Node**>(Allocate((slots + 2) * sizeof(Obj_Node*)));
  auto* nodes = static_cast<Obj_Node*>(Allocate(slots * sizeof(Obj_Node)));
  for (std::size_t i = 0; i < slots; ++i) {
    nodes[i].objType = vRegister;
    nodes[i].objVarType = varNil;
    nodes[i].objLength = -1;
    nodes[i].objContext = -1;
    glob.mNode[i] = &nodes[i];
  }
}

void fillCalendar(ObjsGlobals& glob) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  for (int month = 0; month < 12; ++month) {
    glob.MonthDays[0][month] = kDays[month];
    glob.MonthDays[1][month] = kDays[month] + (month == 1 ? 1 : 0);
  }
  glob.FMSecsPerDay = 86400000.0F;
  glob.LMSecsPerDay = 86400000;
}

void makeSharedValues(ObjsGlobals& glob) {
  glob.mRetVal = static_cast<Obj_Node**>(Allocate(kSharedRoom * sizeof(Obj_Node*)));
  auto* nodes = static_cast<Obj_Node*>(Allocate(kSharedCount * sizeof(Obj_Node)));
  for (int i = 0; i < kSharedCount; ++i) {
    nodes[i].objType = vRetval;
    nodes[i].objVarType = varNil;
    nodes[i].objLength = -1;
    nodes[i].objRefCount = 1;
    nodes[i].objContext = -1;
    glob.mRetVal[i] = &nodes[i];
  }
  const auto logical = [&](int i, Boolean v) {
    nodes[i].objVarType = varBool;
    nodes[i].objData.mbool = v;
  };
  const auto number = [&](int i, double v) {
    nodes[i].objVarType = varNumber;
    nodes[i].objData.mdbl = v;
  };
  logical(kFalse, 0);
  logical(kTrue, 1);
  logical(13, 1);
  number(kZero, 0);
  number(kOne, 1);
  number(11, 0);
  number(12, 0);
  nodes[kNoBuffer].objVarType = varString;
  nodes[kEmptyText].objVarType = varString;
  nodes[kEmptyText].objData.mbuff = static_cast<char*>(Allocate(2));
  nodes[kEmptyText].objLength = 1;
  nodes[kNul].objVarType = varNul;
}

/// Slots, shared values and constants are one block each, which starts at the first node.
void freeBlock(Obj_Node** nodes) {
  if (nodes != nullptr) Release(nodes[0]);
  Release(nodes);
}

void freeValues() {
  for (int i = 0; i < iMaxStackElements; ++i) FreeText(S_GLOB->mNode[i]);
  freeBlock(S_GLOB->mNode);
  Release(S_GLOB->mRetVal[kEmptyText]->objData.mbuff);
  freeBlock(S_GLOB->mRetVal);
  FreeTrace();
  FreeConstants();
}

void call(void (*hook)()) {
  if (hook != nullptr) hook();
}

}  // namespace

ObjsGlobals* __RetGlob(short create) {
  if (create == 0) return S_GLOB;
  auto* glob = static_cast<ObjsGlobals*>(Allocate(sizeof(ObjsGlobals)));
  makePools(*glob);
  glob->LastContext = 1;
  glob->TBL_this = -1;
  glob->LastConst = -1;
  makeValueStack(*glob);
  glob->Internal_Sets = static_cast<Obj_Node**>(Allocate(kSettings * sizeof(Obj_Node*)));
  glob->mTmp = static_cast<char*>(Allocate(kScratchSize));
  fillCalendar(*glob);
  glob->lang = Portuguese;
  S_GLOB = glob;
  return glob;
}

short __BeginGlobal() {
  S_GLOB = nullptr;
  if (iMaxStackElements == 0) __SetMaxStackElements(150);
  limitstack = iMaxStackElements - 1;
  lckstack = 0;
  __RetGlob(1);
  ForgetAuxError();
  makeSharedValues(*S_GLOB);
  __InitSets();
  S_GLOB->LastContext = 1;
  return 1;
}

void __EndGlobal() {
  if (S_GLOB == nullptr) return;
  call(hooks.closeNetwork);
  FreeBlocks();
  call(hooks.closeWorkAreas);
  S_GLOB->LastContext = -32;  // below every context: nothing is too old to die
  __KillContext();
  FreePools();
  pDumpArrays = nullptr;  // was one of them
  call(hooks.freeVendorLibraries);
  freeValues();
  call(hooks.closeCatalogue);
  Release(S_GLOB->Internal_Sets);
  Release(S_GLOB->mTmp);
  Release(S_GLOB->cdnptr);
  Release(S_GLOB);
  S_GLOB = nullptr;
}
