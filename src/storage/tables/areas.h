// Inside the storage floor: the work areas and what an area is made of.
#pragma once

#include "storage/tables/description.h"

namespace vorne {

/// The open area of that number, null for any other number.
VORNE_RDD* AreaAt(int area);
/// The number of the area that `alias` means (see tables.h); raises `code`/`aux` when no open area is meant.
int AreaNumber(Obj_Node* alias, int code = 14, int aux = 11);
/// The area that `alias` means.
VORNE_RDD& AreaOf(Obj_Node* alias, int code = 14, int aux = 11);

inline Fields FieldsOf(const myAppInfoType& table) {
  return {*table.TBL_ctrlFieldTBL, table.TBL_numFields};
}
inline Fields FieldsOf(const VORNE_RDD& area) {
  return FieldsOf(*area.TBL_appinfo);
}
inline KeyFields KeyOf(const IDX_IndexesNames& index) {
  return {index.IDX_ind, static_cast<std::size_t>(index.IDX_amntFieldKeys)};
}
/// The index of that number (from 0), null for any other number.
IDX_IndexesNames* IndexAt(const VORNE_RDD& area, int index);
/// The current order, null without one.
IDX_IndexesNames* OrderOf(const VORNE_RDD& area);

inline int RecordCount(const VORNE_RDD& area) {
  return static_cast<int>(DmNumRecords(area.TBL_appinfo->TBL_dbRef));
}

/// True when deleted records are to be passed over.
bool HidesDeleted();
/// No record is found: both end flags, position -1, a cleared buffer.
void EnterNotFound(VORNE_RDD& area);
/// The walk ended at one end: that end's flag alone, position -1, a cleared buffer.
void EnterEnd(VORNE_RDD& area, bool atEnd, bool atBegin);
/// Writes the buffer when it has unsaved changes.
void WritePending(int area);

}  // namespace vorne
