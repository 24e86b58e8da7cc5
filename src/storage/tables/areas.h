// This folder: tables with typed fields in work areas, their memo texts and indexes, on databases/ and the floors
// below. What a script does wrong, and what cannot be stored, ends the process by __RuntimeError (see tables.h); what
// is merely not there is a null pointer, -1 or false. This file: the areas themselves and what an area is made of.
#pragma once

#include "storage/format/description.h"

namespace vorne {

inline bool IsAreaNumber(int area) {
  return S_GLOB != nullptr && area >= 0 && area < S_GLOB->TBL_amnt_open_dbs;
}
/// The place of an area, null while it is free, by a number that IsAreaNumber.
inline VORNE_RDD*& AreaSlot(int area) {
  return static_cast<VORNE_RDD**>(S_GLOB->rdd)[area];
}
/// The open area of that number, null for any other number.
inline VORNE_RDD* AreaAt(int area) {
  return IsAreaNumber(area) ? AreaSlot(area) : nullptr;
}
/// The number of the open area that `alias` means (see tables.h); raises `code`/`aux` when there is none.
int AreaNumber(Obj_Node* alias, int code = 14, int aux = 11);
/// That area.
VORNE_RDD& AreaOf(Obj_Node* alias, int code = 14, int aux = 11);

inline Fields FieldsOf(const myAppInfoType& table) {
  return {*table.TBL_ctrlFieldTBL, table.TBL_numFields};
}
inline Fields FieldsOf(const VORNE_RDD& area) {
  return FieldsOf(*area.TBL_appinfo);
}
inline KeyFields KeyFieldsOf(const IDX_IndexesNames& index) {
  return {index.IDX_ind, static_cast<std::size_t>(index.IDX_amntFieldKeys)};
}
/// The index of that number (from 0), null for any other number.
IDX_IndexesNames* IndexAt(const VORNE_RDD& area, int index);
/// The current order, null without one.
inline IDX_IndexesNames* OrderOf(const VORNE_RDD& area) {
  return IndexAt(area, area.TBL_Index);
}

inline DmOpenRef DatabaseOf(const VORNE_RDD& area) {
  return area.TBL_appinfo->TBL_dbRef;
}
inline int RecordCount(const VORNE_RDD& area) {
  return static_cast<int>(DmNumRecords(DatabaseOf(area)));
}

/// The text of an alias, a name or a field in capital letters; empty for what is no text.
std::string CapitalText(const Obj_Node* text);

/// No record is found: both end flags, position -1, a cleared buffer.
void EnterNotFound(VORNE_RDD& area);
/// The walk ended at one end: that end's flag, position -1, a cleared buffer.
void EnterEnd(VORNE_RDD& area, bool atEnd);
/// The buffer becomes a blank record's, whichever record is current: should it be written, all keys are looked at.
void BlankBuffer(VORNE_RDD& area);
/// Should the buffer be written, every key in it is held against the record's.
void DoubtKeys(VORNE_RDD& area);
/// True when deleted records are to be passed over.
bool HidesDeleted();

/// Calls `visit(area number, area)` for every area that has the database open: each has a list of indexes of its own.
template <class Visit>
void ForEachAreaOf(DmOpenRef table, Visit visit) {
  for (int number = 0; number < S_GLOB->TBL_lasttable; ++number)
    if (VORNE_RDD* area = AreaAt(number); area != nullptr && area->TBL_appinfo->TBL_dbRef == table)
      visit(number, *area);
}

/// Calls `visit(index)` for that index in the list of every area that has the table open.
template <class Visit>
void ForEachIndexOf(DmOpenRef index, DmOpenRef table, Visit visit) {
  ForEachAreaOf(table, [&](int, VORNE_RDD& area) {
    for (std::uint32_t i = 0; i < area.TBL_appinfo->TBL_numIndexes; ++i)
      if (IDX_IndexesNames& one = *area.TBL_appinfo->TBL_IndexesNames[i]; one.IDX_dbRef == index) visit(one);
  });
}

}  // namespace vorne
