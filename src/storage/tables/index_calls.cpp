// Opening and closing an area's indexes, and its current order. Indexes are counted from 0 inside and from 1 by
// scripts, to whom 0 is the order of the records.
#include <strings.h>

#include <cstdio>

#include "runtime/arguments.h"
#include "runtime/memory.h"
#include "storage/format/entry_order.h"
#include "storage/format/keys.h"
#include "storage/format/names.h"
#include "storage/records/records.h"
#include "storage/tables/index_attach.h"
#include "storage/tables/index_upkeep.h"

using namespace vorne;

namespace {

constexpr int kCannotBeKey = 19;
constexpr int kNoSuchArea = 14, kNoSuchIndex = 16, kNoSuchOrder = 32;
// What scripts get for no order, and may hand back.
constexpr char kNoIndexName[] = "INVALID_INDEX";

// The index that a number (from 1) or a name means: -1 for none, -2 for one that does not exist.
constexpr int kNone = -1, kUnknown = -2;
int indexMeant(int number, const Obj_Node* order) {
  if (HasText(order)) {
    const std::string name = CapitalText(order);
    if (name.empty() || name == kNoIndexName) return kNone;
    const int index = __GetIdxInd(number, name.c_str());
    return index < 0 ? kUnknown : index;
  }
  const int index = IntArgument(order);
  if (index == 0) return kNone;
  return IndexAt(*AreaAt(number), index - 1) == nullptr ? kUnknown : index - 1;
}

bool isEntryOf(const IDX_IndexesNames& order, std::int32_t place, std::int32_t record) {
  const std::span<const char> entry = BytesOf(order.IDX_dbRef, static_cast<UInt32>(place));
  return entry.size() >= kEntryKeyAt && Load<std::int32_t>(entry.data()) == record;
}

}  // namespace

int __OpenIDX(int number, int index) {
  VORNE_RDD* area = AreaAt(number);
  IDX_IndexesNames* entry = area == nullptr ? nullptr : IndexAt(*area, index);
  if (entry == nullptr) __RuntimeError(3, kNoSuchIndex);
  return OpenIndex(*area->TBL_appinfo, *entry);
}

int __CloseIDX(int number, int index) {
  VORNE_RDD* area = AreaAt(number);
  IDX_IndexesNames* entry = area == nullptr ? nullptr : IndexAt(*area, index);
  if (entry == nullptr || !CloseIndex(*entry)) return 0;
  if (area->TBL_Index == index) area->TBL_Index = -1;
  return 1;
}

int __CloseAllIdx(int number) {
  const VORNE_RDD* area = AreaAt(number);
  const int count = area == nullptr ? 0 : static_cast<int>(area->TBL_appinfo->TBL_numIndexes);
  int closed = 0;
  for (int index = 0; index < count; ++index) closed += __CloseIDX(number, index);
  return closed;
}

int __UseIndex(int number, const char* name) {
  VORNE_RDD* area = AreaAt(number);
  if (area == nullptr || name == nullptr) return -1;
  const int index = __GetIdxInd(number, name);
  // One that was left out when the table was opened gets another try.
  if (index < 0) return AttachIndex(*area->TBL_appinfo, FoldedName(name));
  return __OpenIDX(number, index) ? index : -1;
}

int __GetFirstOpenIDX(int number) {
  if (S_GLOB == nullptr || number < 0 || number >= S_GLOB->TBL_amnt_open_dbs) __RuntimeError(3, kNoSuchArea);
  const VORNE_RDD* area = AreaAt(number);
  if (area == nullptr) return -1;
  for (int index = 0; IndexAt(*area, index) != nullptr; ++index)
    if (IndexAt(*area, index)->IDX_dbRef != nullptr) return index;
  return -1;
}

void __ClearIndex(int number) {
  if (VORNE_RDD* area = AreaAt(number); area != nullptr) area->TBL_Index = -1;
}

int __GetIdxInd(int number, const char* name) {
  const VORNE_RDD* area = AreaAt(number);
  if (area == nullptr || name == nullptr) return -1;
  for (int index = 0; IndexAt(*area, index) != nullptr; ++index)
    if (strcasecmp(IndexAt(*area, index)->IDX_name, name) == 0) return index;
  return -1;
}

Obj_Node* __IndexKey(Obj_Node* alias, Obj_Node* order) {
  const int number = AreaNumber(alias);
  const VORNE_RDD& area = *AreaAt(number);
  const IDX_IndexesNames* index = IndexAt(area, IsMissing(order) ? area.TBL_Index : indexMeant(number, order));
  std::string key;
  if (index != nullptr)
    for (const IDX_Indexes& part : KeyFieldsOf(*index))
      key.append(key.empty() ? "" : "+").append(FieldsOf(area)[part.KeyField - 1].FieldName);
  return __INIT_CHARPTR(key.c_str());
}

Obj_Node* __IndexOrd(Obj_Node* alias) {
  return __INIT_DOUBLE(AreaOf(alias).TBL_Index + 1);
}

Obj_Node* __TBL_SetOrder(Obj_Node* alias, Obj_Node* order) {
  const int number = AreaNumber(alias);
  VORNE_RDD& area = *AreaAt(number);
  const IDX_IndexesNames* before = OrderOf(area);
  Obj_Node* name = __INIT_CHARPTR(before == nullptr ? kNoIndexName : before->IDX_name);
  if (IsMissing(order)) return name;
  const int index = indexMeant(number, order);
  if (index == kUnknown || (index != kNone && !__OpenIDX(number, index))) {
    if (HasText(order)) std::printf("%s", WhyLeftOut(CapitalText(order)).c_str());
    __RuntimeError(3, kNoSuchOrder);
  }
  area.TBL_Index = index;
  Resync(number);
  return name;
}

Obj_Node* __TBL_INDEX_POS(Obj_Node* alias) {
  const IDX_IndexesNames* order = OrderOf(AreaOf(alias));
  return __INIT_DOUBLE(order == nullptr ? 0 : order->IDX_recID + 1);
}

void Resync(int number) {
  VORNE_RDD* area = AreaAt(number);
  IDX_IndexesNames* order = area == nullptr ? nullptr : OrderOf(*area);
  if (order == nullptr) return;
  if (area->TBL_recpos >= 0 && isEntryOf(*order, order->IDX_recID, area->TBL_recpos)) return;
  order->IDX_recID = PlaceOfRecord(*area->TBL_appinfo, *order, area->TBL_recpos);
}

char* __CreateKeyToWrite(int number, int index, Boolean swap) {
  VORNE_RDD* area = AreaAt(number);
  const IDX_IndexesNames* entry = area == nullptr ? nullptr : IndexAt(*area, index);
  if (entry == nullptr) return nullptr;
  Release(area->TBL_idxbuff);
  const std::size_t room = static_cast<std::size_t>(__CalMaxIdxTam(number)) + kEntryKeyAt;
  area->TBL_idxbuff = static_cast<char*>(Allocate(room));
  std::memset(area->TBL_idxbuff, ' ', room);
  Store(area->TBL_idxbuff, area->TBL_recposition);
  if (!MakeKey(FieldsOf(*area), KeyFieldsOf(*entry), area->TBL_buff, swap && bswapnum, area->TBL_idxbuff + kEntryKeyAt))
    __RuntimeError(3, kCannotBeKey);
  area->TBL_idxPos = entry->IDX_tam_max_key + static_cast<std::int32_t>(kEntryKeyAt);
  return area->TBL_idxbuff;
}

int __CalMaxIdxTam(int number) {
  const VORNE_RDD* area = AreaAt(number);
  int longest = 0;
  for (int index = 0; area != nullptr && IndexAt(*area, index) != nullptr; ++index)
    longest = std::max(longest, IndexAt(*area, index)->IDX_tam_max_key + static_cast<int>(kEntryKeyAt));
  return longest;
}
