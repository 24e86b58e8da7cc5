// The global record: made by __BeginGlobal, gone after __EndGlobal.
#include <algorithm>
#include <cstddef>

#include "runtime/hooks.h"
#include "runtime/internal.h"
#include "runtime/memory.h"
#include "runtime/trace.h"

using namespace vorne;

namespace {

constexpr int kPools = 4;
constexpr int kSettings = 14;
constexpr std::int32_t kStoredNodeSize = 28;

/// The record and the tables of fixed size that it points at, in one piece.
struct GlobalRecord {
  ObjsGlobals glob;
  ObjCDND pools[kPools];
  Obj_Node* settings[kSettings];
  Obj_Node* shared[kSharedRoom];
  Obj_Node sharedNodes[kSharedCount];
  void* areas[kWorkAreas];
  // Zeros: the text of the shared empty value.
  char emptyText[2];
  char scratch[kScratchSize];
};

static_assert(offsetof(GlobalRecord, glob) == 0);

void preparePools(ObjCDND* pools) {
  // The last pool is not in use and stays zero.
  for (int i = 0; i < kPools - 1; ++i) {
    pools[i].objType = 1;
    pools[i].objsize = kStoredNodeSize;
    pools[i].funcCT = __fcpObj_CT;
  }
}

// Static, so that filling a table copies it instead of putting a node together each time.
constexpr Obj_Node kFreeSlot{nullptr, vRegister, varNil, -1, {}, 0, -1};

void makeValueStack(ObjsGlobals& glob) {
  const auto slots = static_cast<std::size_t>(iMaxStackElements);
  std::fill_n(MakeNodeTable(glob.mNode, slots, 2), slots, kFreeSlot);
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

void fillSharedValues(GlobalRecord& record) {
  Obj_Node* nodes = record.sharedNodes;
  for (int i = 0; i < kSharedCount; ++i) {
    // With one holder that never lets go: no release may free what is part of the record.
    nodes[i] = {nullptr, vRetval, varNil, -1, {}, 1, -1};
    record.shared[i] = &nodes[i];
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
  // Slots 11 to 13 have no name here; programs reach them by their numbers.
  logical(13, 1);
  number(kZero, 0);
  number(kOne, 1);
  number(11, 0);
  number(12, 0);
  nodes[kNoBuffer].objVarType = varString;
  nodes[kEmptyText].objVarType = varString;
  nodes[kEmptyText].objData.mbuff = record.emptyText;
  nodes[kEmptyText].objLength = 1;
  nodes[kNul].objVarType = varNul;
}

void freeValues() {
  for (int i = 0; i < usedSlots; ++i) FreeText(S_GLOB->mNode[i]);
  Release(S_GLOB->mNode);
  FreeTrace();
  FreeConstants();
}

void call(void (*hook)()) {
  if (hook != nullptr) hook();
}

}  // namespace

ObjsGlobals* __RetGlob(short create) {
  if (create == 0) return S_GLOB;
  auto* record = static_cast<GlobalRecord*>(Allocate(sizeof(GlobalRecord)));
  ObjsGlobals& glob = record->glob;
  glob.cdnptr = record->pools;
  glob.Internal_Sets = record->settings;
  glob.mRetVal = record->shared;
  glob.mTmp = record->scratch;
  preparePools(glob.cdnptr);
  fillSharedValues(*record);
  fillCalendar(glob);
  makeValueStack(glob);
  glob.LastContext = 1;
  glob.TBL_this = -1;
  glob.rdd = record->areas;
  glob.TBL_amnt_open_dbs = kWorkAreas;
  glob.LastConst = -1;
  glob.lang = Portuguese;
  // From here on there is something that an error has to save.
  hooks.prepareEnd = PrepareEnd;
  S_GLOB = &glob;
  return S_GLOB;
}

short __BeginGlobal() {
  S_GLOB = nullptr;
  if (iMaxStackElements == 0) __SetMaxStackElements(150);
  limitstack = iMaxStackElements - 1;
  lckstack = 0;
  usedSlots = 0;
  __RetGlob(1);
  ForgetAuxError();
  __InitSets();
  S_GLOB->LastContext = 1;
  return 1;
}

void __EndGlobal() {
  if (S_GLOB == nullptr) return;
  call(hooks.closeNetwork);
  call(hooks.closeMessageLog);
  FreeBlocks();
  // Before any value goes: closing an area writes what still waits in its buffer.
  call(hooks.closeWorkAreas);
  S_GLOB->LastContext = -32;  // below every context: nothing is too old to die
  __KillContext();
  FreePools();
  pDumpArrays = nullptr;  // was one of them
  call(hooks.freeVendorLibraries);
  freeValues();
  call(hooks.closeCatalog);
  Release(S_GLOB);  // the record's first member
  S_GLOB = nullptr;
}
