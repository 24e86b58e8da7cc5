// An area's number is its place in the list of the global record; -1 is none. An area that is on no record (the end,
// the beginning, an empty table) has TBL_recpos -1 and blank fields.
#include "storage/tables/areas.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "runtime/arguments.h"
#include "storage/format/record_bytes.h"

namespace vorne {

namespace {

int areaOfText(const char* alias) {
  for (int area = 0; area < S_GLOB->TBL_lasttable; ++area)
    if (AreaSlot(area) != nullptr && strcasecmp(AreaSlot(area)->TBL_alias, alias) == 0) return area;
  return -1;
}

// Blank fields, no record: programs read fields without asking for the end, and must not see the last record's again.
void enter(VORNE_RDD& area, bool atEnd, bool atBegin) {
  area.TBL_found = 0;
  area.TBL_eof = atEnd;
  area.TBL_bof = atBegin;
  area.TBL_recpos = -1;
  BlankFields(FieldsOf(area), area.TBL_buff);
}

}  // namespace

int AreaNumber(Obj_Node* alias, int code, int aux) {
  const int area = __GetAliasID(alias);
  if (AreaAt(area) == nullptr) __RuntimeError(code, aux);
  return area;
}

VORNE_RDD& AreaOf(Obj_Node* alias, int code, int aux) {
  return *AreaAt(AreaNumber(alias, code, aux));
}

IDX_IndexesNames* IndexAt(const VORNE_RDD& area, int index) {
  const myAppInfoType& table = *area.TBL_appinfo;
  return index >= 0 && index < static_cast<int>(table.TBL_numIndexes) ? table.TBL_IndexesNames[index] : nullptr;
}

std::string CapitalText(const Obj_Node* text) {
  if (!HasText(text)) return {};
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

void DoubtKeys(VORNE_RDD& area) {
  for (std::uint32_t i = 0; i < area.TBL_appinfo->TBL_numIndexes; ++i)
    area.TBL_appinfo->TBL_IndexesNames[i]->IDX_fieldchanged = 1;
}

void BlankBuffer(VORNE_RDD& area) {
  BlankFields(FieldsOf(area), area.TBL_buff);
  DoubtKeys(area);
}

bool HidesDeleted() {
  const Obj_Node* setting = S_GLOB->Internal_Sets[kHideDeletedSetting - 1];
  return setting != nullptr && setting->objVarType == varBool && setting->objData.mbool != 0;
}

}  // namespace vorne

using namespace vorne;

namespace {

constexpr int kUnknownType = 12, kOutOfRange = 13;
constexpr int kNoAreaGiven = 21, kSelectFailed = 22;

}  // namespace

int __GetAliasID(Obj_Node* alias) {
  if (IsMissing(alias)) return S_GLOB->TBL_this;
  switch (alias->objVarType) {
    case varString:
      return HasText(alias) ? areaOfText(alias->objData.mbuff) : -1;
    case varNumber: {
      const int area = ToInt(alias->objData.mdbl);
      if (!IsAreaNumber(area)) __RuntimeError(3, kOutOfRange);
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
