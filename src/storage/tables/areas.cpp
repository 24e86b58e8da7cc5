#include "storage/tables/areas.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "builtins/arguments.h"
#include "runtime/memory.h"
#include "storage/format/record_bytes.h"
#include "storage/records/open_databases.h"
#include "storage/tables/index_upkeep.h"
#include "storage/tables/table_descriptions.h"

namespace vorne {

namespace {

constexpr std::size_t kBufferSpare = 4;

VORNE_RDD*& slot(int area) {
  return static_cast<VORNE_RDD**>(S_GLOB->rdd)[area];
}

bool isAreaNumber(int area) {
  return S_GLOB != nullptr && area >= 0 && area < S_GLOB->TBL_amnt_open_dbs;
}

int freeArea() {
  for (int area = 0; area < S_GLOB->TBL_amnt_open_dbs; ++area)
    if (slot(area) == nullptr) return area;
  return -1;
}

// Should the buffer be written, every key in it is held against the record's.
void doubtKeys(VORNE_RDD& area) {
  for (std::uint32_t i = 0; i < area.TBL_appinfo->TBL_numIndexes; ++i)
    area.TBL_appinfo->TBL_IndexesNames[i]->IDX_fieldchanged = 1;
}

void freeArea(int area) {
  VORNE_RDD* rdd = slot(area);
  slot(area) = nullptr;
  // It may have changed records that stand in the buffers of other areas.
  ForEachAreaOf(DatabaseOf(*rdd), [](int, VORNE_RDD& other) { doubtKeys(other); });
  if (S_GLOB->TBL_this == area) S_GLOB->TBL_this = -1;
  Release(rdd->TBL_buff);
  Release(rdd->TBL_idxbuff);
  Release(rdd->TBL_regidxbuff);
  if (rdd->TBL_memo != nullptr) DmCloseDatabase(rdd->TBL_memo);
  ReleaseTable(rdd->TBL_appinfo);
  Release(rdd);
}

int areaOfText(const char* alias) {
  for (int area = 0; area < S_GLOB->TBL_lasttable; ++area)
    if (slot(area) != nullptr && strcasecmp(slot(area)->TBL_alias, alias) == 0) return area;
  return -1;
}

// As its table, its memo texts or an index.
bool holds(const VORNE_RDD& area, DmOpenRef db) {
  if (DatabaseOf(area) == db || area.TBL_memo == db) return true;
  const myAppInfoType& table = *area.TBL_appinfo;
  return std::any_of(table.TBL_IndexesNames, table.TBL_IndexesNames + table.TBL_numIndexes,
                     [db](const IDX_IndexesNames* index) { return index->IDX_dbRef == db; });
}

void enter(VORNE_RDD& area, bool atEnd, bool atBegin) {
  area.TBL_found = 0;
  area.TBL_eof = atEnd;
  area.TBL_bof = atBegin;
  area.TBL_recpos = -1;
  BlankFields(FieldsOf(area), area.TBL_buff);
}

}  // namespace

VORNE_RDD* AreaAt(int area) {
  return isAreaNumber(area) ? slot(area) : nullptr;
}

int AreaNumber(Obj_Node* alias, int code, int aux) {
  const int area = __GetAliasID(alias);
  if (AreaAt(area) == nullptr) __RuntimeError(code, aux);
  return area;
}

VORNE_RDD& AreaOf(Obj_Node* alias, int code, int aux) {
  return *AreaAt(AreaNumber(alias, code, aux));
}

int OpenArea(myAppInfoType* table, const std::string& alias, Obj_Node* constant) {
  beforeDeletion = CloseAreasOf;
  const int area = freeArea();
  if (area < 0) return -1;
  const ControlFieldTBL& last = FieldsOf(*table).back();
  const std::int32_t room = last.iOffset + BufferRoom(last);
  auto* rdd = static_cast<VORNE_RDD*>(Allocate(sizeof(VORNE_RDD)));
  rdd->TBL_constAlias = constant;
  rdd->TBL_ialias = static_cast<std::int32_t>(alias.copy(rdd->TBL_alias, sizeof rdd->TBL_alias - 1));
  rdd->TBL_open = 1;
  rdd->TBL_Index = -1;
  rdd->TBL_recpos = -1;
  rdd->TBL_tam_max_buff = room + static_cast<std::int32_t>(kBufferSpare);
  rdd->TBL_buff = static_cast<char*>(Allocate(static_cast<std::size_t>(rdd->TBL_tam_max_buff)));
  rdd->TBL_appinfo = table;
  slot(area) = rdd;
  if (S_GLOB->TBL_lasttable <= area) S_GLOB->TBL_lasttable = static_cast<std::int16_t>(area + 1);
  return area;
}

void CloseAreasOf(DmOpenRef db) {
  if (S_GLOB == nullptr) return;
  for (int area = 0; area < S_GLOB->TBL_lasttable; ++area)
    if (slot(area) != nullptr && holds(*slot(area), db)) freeArea(area);
}

void CloseAllAreas() {
  if (S_GLOB == nullptr || S_GLOB->rdd == nullptr) return;
  for (int area = 0; area < S_GLOB->TBL_lasttable; ++area) __CloseTBL(area);
  S_GLOB->TBL_lasttable = 0;
}

IDX_IndexesNames* IndexAt(const VORNE_RDD& area, int index) {
  const myAppInfoType& table = *area.TBL_appinfo;
  return index >= 0 && index < static_cast<int>(table.TBL_numIndexes) ? table.TBL_IndexesNames[index] : nullptr;
}

std::string CapitalText(const Obj_Node* text) {
  if (!IsReadableText(text)) return {};
  std::string capitals(text->objData.mbuff);
  strupr(capitals.data());
  return capitals;
}

void EnterNotFound(VORNE_RDD& area) {
  enter(area, true, true);
}

void EnterEnd(VORNE_RDD& area, bool atEnd) {
  enter(area, atEnd, !atEnd);
}

void BlankBuffer(VORNE_RDD& area) {
  BlankFields(FieldsOf(area), area.TBL_buff);
  doubtKeys(area);
}

bool HidesDeleted() {
  const Obj_Node* setting = S_GLOB->Internal_Sets[kHideDeletedSetting - 1];
  return setting != nullptr && setting->objVarType == varBool && setting->objData.mbool != 0;
}

void WritePending(int area) {
  VORNE_RDD* rdd = AreaAt(area);
  if (rdd == nullptr || !rdd->TBL_fieldchanged) return;
  __WriteRecord(area, 'P');
  rdd->TBL_fieldchanged = 0;
}

}  // namespace vorne

using namespace vorne;

namespace {

constexpr int kUnknownType = 12, kOutOfRange = 13, kCloseSubcode = 15, kCloseTableSubcode = 56;
constexpr int kNoAreaGiven = 21, kSelectFailed = 22;

}  // namespace

int __GetAliasID(Obj_Node* alias) {
  if (IsMissing(alias)) return S_GLOB->TBL_this;
  switch (alias->objVarType) {
    case varString:
      return IsReadableText(alias) ? areaOfText(alias->objData.mbuff) : -1;
    case varNumber: {
      const int area = ToInt(alias->objData.mdbl);
      if (!isAreaNumber(area)) __RuntimeError(3, kOutOfRange);
      return area;
    }
    default:
      __RuntimeError(3, kUnknownType);
  }
}

Obj_Node* __Select(Obj_Node* alias) {
  return __INIT_DOUBLE(__GetAliasID(alias));
}

Obj_Node* __TBL_Select(Obj_Node* alias) {
  if (IsMissing(alias)) __RuntimeError(3, kNoAreaGiven);
  const int area = __GetAliasID(alias);
  if (area < 0) __RuntimeError(3, kSelectFailed);
  S_GLOB->TBL_this = static_cast<std::int16_t>(area);
  return __INIT_DOUBLE(area);
}

Obj_Node* __Alias(Obj_Node* area) {
  const VORNE_RDD* rdd = AreaAt(__GetAliasID(area));
  return __INIT_CHARPTR(rdd == nullptr ? "" : rdd->TBL_alias);
}

Obj_Node* __Used(Obj_Node* alias) {
  return __INIT_BOOL(AreaAt(__GetAliasID(alias)) != nullptr);
}

int __CloseTBL(int area) {
  if (!isAreaNumber(area)) __RuntimeError(3, kCloseTableSubcode);
  if (slot(area) == nullptr) return 0;
  WritePending(area);
  freeArea(area);
  return 1;
}

Obj_Node* __DB_CloseArea(Obj_Node* alias) {
  const int area = __GetAliasID(alias);
  if (!isAreaNumber(area)) __RuntimeError(3, kCloseSubcode);
  return __INIT_BOOL(static_cast<short>(__CloseTBL(area)));
}

Obj_Node* __dbCloseAll() {
  CloseAllAreas();
  return __INIT_NIL();
}
