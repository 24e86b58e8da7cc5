// The inline ones, through which every access goes, are in the header; here is what walks and foreign programs ask.
#include "storage/records/record_places.h"

#include <algorithm>

namespace vorne {

UInt32 RecordEnd(const OpenStruct& db, UInt32 place) {
  if (IsVariable(db)) return place + kRecordHeaderSize + HeaderAtPlace(db, place).AllocatedSpace;
  return std::min(place + RecordStride(db), UsedEnd(db));
}

}  // namespace vorne

using namespace vorne;

UInt32 __PositionOnRecordBegin(DmOpenRef db, UInt32 index) {
  if (!IsOpen(db)) return 0;
  std::uint64_t position = UsedEnd(*db);
  // From kAppend on a number stands for the end of what is used.
  if (index <= kAppend - 1) {
    if (!IsVariable(*db))
      position = RecordsBegin(db->Head) + static_cast<std::uint64_t>(index) * RecordStride(*db);
    else if (db->Head.NumberOfRecords == 0)
      position = RecordsBegin(db->Head);
    else
      position = GetRecOffSet(db, index);
  }
  if (position > static_cast<UInt32>(db->hFile->szallocated) || position > UsedEnd(*db)) position = UsedEnd(*db);
  // The place at which MoveFwd and MoveBwd work.
  db->hFile->offset = static_cast<std::int32_t>(position);
  return static_cast<UInt32>(position);
}
