// Going from record to record. Two numbers tell where an area is: TBL_recpos, the record in the buffer (-1 none), and
// the current order's IDX_recID, its entry (-1 not known). Positions count from 0 here and from 1 for scripts.
#include "runtime/arguments.h"
#include "storage/databases/rebuild.h"
#include "storage/format/entry_order.h"
#include "storage/format/record_bytes.h"
#include "storage/records/entry_file.h"
#include "storage/records/offsets.h"
#include "storage/records/records.h"
#include "storage/records/waiting_entries.h"
#include "storage/tables/index_attach.h"
#include "storage/tables/index_upkeep.h"
#include "storage/tables/walk_watch.h"
#include "storage/tables/write.h"

using namespace vorne;

namespace {

constexpr int kRecSizeSubcode = 7, kCannotBeStored = 8;

// One an area: each notices doubles among what its own walk has met.
WalkWatch walks[kWorkAreas];

// The position of the record that entry `position` names; -1 when there is no such entry.
int recordOfEntry(const Entries& entries, int position) {
  return static_cast<UInt32>(position) < entries.count ? entries.record(static_cast<std::size_t>(position)) : -1;
}

bool notFound(VORNE_RDD& area) {
  EnterNotFound(area);
  return false;
}

// A walk through an index goes to and fro in the table's file: the records that come next are asked for beforehand.
// Inlined: the compiler takes a call that only asks for bytes for one without effect, and leaves it out.
[[gnu::always_inline]] inline void fetchAhead(const VORNE_RDD& area, const Entries& entries, int position,
                                              int direction) {
  constexpr int kRecordsAhead = 2, kSlotsAhead = 6;
  const OpenStruct& table = *DatabaseOf(area);
  const auto slotOf = [&](int ahead) -> const char* {
    const std::int64_t place = std::int64_t{position} + ahead * direction;
    if (place < 0 || place >= entries.count) return nullptr;
    const auto record = static_cast<UInt32>(entries.record(static_cast<std::size_t>(place)));
    return table.hOS != nullptr && record < OffsetSlots(table) ? OffsetSlot(table, record) : nullptr;
  };
  if (const char* slot = slotOf(kSlotsAhead)) __builtin_prefetch(slot);
  if (const char* slot = slotOf(kRecordsAhead)) {
    const char* record =
        table.hFile->mapmem + std::min<UInt32>(Load<UInt32>(slot), static_cast<UInt32>(table.hFile->szmap));
    __builtin_prefetch(record);
    __builtin_prefetch(record + 64);
  }
}

// False when the walk through the order of a table of `count` records shows at `position` that not every record has one
// entry.
bool isSoundAt(int number, DmOpenRef order, const Entries& entries, int count, int position, int direction) {
  if (!NamesOneRecord(entries, count, position, direction)) return false;
  if (direction == 0 || entries.count <= kMostCounted) return true;
  // One step ahead: what stands out of order, or twice, is not shown before the order is mended.
  if (!IsSoundAhead(entries, static_cast<UInt32>(position), direction)) return false;
  WalkWatch& walk = walks[number];
  const auto record = static_cast<UInt32>(entries.record(static_cast<std::size_t>(position)));
  if (walk.isNew(order, static_cast<UInt32>(count), position, direction, record)) return true;
  if (NamesARecordTwice(entries, entries.count)) return false;
  walk.trust();
  return true;
}

// Makes the order anew. A walk goes on behind the record that it was at, wherever that stands now.
int placeAfterMending(VORNE_RDD& area, IDX_IndexesNames& order, int position, int direction) {
  const bool goesOn = direction != 0 && order.IDX_recID == position - direction && area.TBL_recpos >= 0;
  MendIndex(*area.TBL_appinfo, order);
  return goesOn ? PlaceOfRecord(*area.TBL_appinfo, order, area.TBL_recpos) + direction : position;
}

int placeNow(int number) {
  const VORNE_RDD& area = *AreaAt(number);
  const IDX_IndexesNames* order = OrderOf(area);
  if (order != nullptr && order->IDX_recID < 0 && area.TBL_recpos >= 0) Resync(number);
  return order == nullptr ? area.TBL_recposition : order->IDX_recID;
}

int lastPosition(const VORNE_RDD& area, bool through) {
  const IDX_IndexesNames* order = through ? OrderOf(area) : nullptr;
  return static_cast<int>(DmNumRecords(order == nullptr ? DatabaseOf(area) : order->IDX_dbRef)) - 1;
}

int directionOf(int step) {
  return (step > 0) - (step < 0);
}

int addBounded(int a, int b) {
  int sum = 0;
  // Scripts skip by any number: beyond both ends there is an end, not the other one.
  if (__builtin_add_overflow(a, b, &sum)) return b < 0 ? -1 : static_cast<int>(kAppend) + 1;
  return sum;
}

}  // namespace

int __TBL_GetLastData(int number, int position) {
  VORNE_RDD* area = AreaAt(number);
  if (area == nullptr) return 0;
  DmOpenRef table = DatabaseOf(*area);
  std::span<const char> record = BytesOf(table, static_cast<UInt32>(position));
  // A record that counts and cannot be read: its place may be the wrong one, which the chain tells.
  if (record.empty() && position >= 0 && position < RecordCount(*area) && VerifyPlaces(table))
    record = BytesOf(table, static_cast<UInt32>(position));
  if (record.empty()) return 0;
  LoadFields(FieldsOf(*area), record, bswapnum, area->TBL_buff);
  area->TBL_recposition = area->TBL_recpos = position;
  area->TBL_eof = area->TBL_bof = area->TBL_fieldchanged = area->TBL_append = 0;
  for (std::uint32_t i = 0; i < area->TBL_appinfo->TBL_numIndexes; ++i)
    area->TBL_appinfo->TBL_IndexesNames[i]->IDX_fieldchanged = 0;
  return 1;
}

namespace {

// ReadData, in an area whose table has `count` records.
int readFrom(int number, VORNE_RDD* area, int count, Boolean through, int position, int direction) {
  IDX_IndexesNames* order = OrderOf(*area);
  if (count == 0 || (through && order != nullptr && DmNumRecords(order->IDX_dbRef) == 0)) return notFound(*area);
  area->TBL_found = 0;
  const bool hides = direction != 0 && HidesDeleted(), byOrder = through && order != nullptr;
  // Counting the order's records has put in what waited: only now it shows whether that fitted.
  if (byOrder && IsBehind(order->IDX_dbRef)) MendIndex(*area->TBL_appinfo, *order);
  bool mended = false;
  // The table's count bounds the walk through an index too.
  for (; position >= 0 && position < count; position += direction) {
    int record = position;
    if (byOrder) {
      Entries entries = EntriesOf(*order->IDX_dbRef);
      if (!mended && !isSoundAt(number, order->IDX_dbRef, entries, count, position, direction)) {
        position = placeAfterMending(*area, *order, position, direction);
        // Once a walk: what does not fit an index just made anew is no damage of the index.
        mended = true;
        entries = EntriesOf(*order->IDX_dbRef);
      }
      if (direction != 0) fetchAhead(*area, entries, position, direction);
      record = recordOfEntry(entries, position);
    }
    if (order != nullptr) order->IDX_recID = position;
    if (record < 0 || !__TBL_GetLastData(number, record)) return notFound(*area);
    if (!hides || !IsMarkedDeleted(FieldsOf(*area), area->TBL_buff)) return 1;
  }
  EnterEnd(*area, direction > 0);
  return 0;
}

}  // namespace

int ReadData(int number, Boolean through, int position, int direction) {
  VORNE_RDD* area = AreaAt(number);
  return area == nullptr ? 0 : readFrom(number, area, RecordCount(*area), through, position, direction);
}

int __GoTo(int number, int position, Boolean through, int direction) {
  VORNE_RDD* area = AreaAt(number);
  if (area == nullptr) return 0;
  WritePending(number);
  const int count = RecordCount(*area);
  if (count == 0) return notFound(*area);
  if (position == static_cast<int>(kAppend)) position = lastPosition(*area, through);
  if (position < 0) {
    readFrom(number, area, count, 1, 0, 1);
    // Only after the first record was loaded: going before it shows it and tells that nothing is before.
    area->TBL_bof = 1;
    return 0;
  }
  return position < count ? readFrom(number, area, count, through, position, direction) : notFound(*area);
}

Obj_Node* __TBL_GoTop(Obj_Node* alias) {
  const int area = AreaNumber(alias);
  __GoTo(area, 0, 1, 1);
  Resync(area);
  return __INIT_NIL();
}

Obj_Node* __TBL_GoBottom(Obj_Node* alias) {
  const int area = AreaNumber(alias);
  __GoTo(area, static_cast<int>(kAppend), 1, -1);
  Resync(area);
  return __INIT_NIL();
}

Obj_Node* __TBL_GoTo(Obj_Node* alias, Obj_Node* n) {
  const int area = AreaNumber(alias);
  const int record = IntArgument(n);
  const int position = record == static_cast<int>(kAppend) ? record : addBounded(record, -1);
  return __INIT_BOOL(static_cast<short>(__GoTo(area, position, 0, 0)));
}

Obj_Node* __TBL_GoToI(Obj_Node* alias, Obj_Node* n) {
  const int area = AreaNumber(alias);
  return __INIT_BOOL(static_cast<short>(__GoTo(area, addBounded(IntArgument(n), -1), 1, 0)));
}

Obj_Node* __TBL_Skip(Obj_Node* alias, Obj_Node* n) {
  const int number = AreaNumber(alias);
  const int step = OptionalInt(n, 1);
  // Entries that wait take their places before the place to count from is taken.
  WritePending(number);
  const int target = addBounded(placeNow(number), step);
  return __INIT_BOOL(static_cast<short>(__GoTo(number, target, 1, directionOf(step))));
}

Obj_Node* __AbortEdit(Obj_Node* alias) {
  const int number = AreaNumber(alias);
  VORNE_RDD& area = *AreaAt(number);
  area.TBL_append = area.TBL_fieldchanged = 0;
  // The record is loaded once more: the buffer has lost what it held before the edit.
  if (area.TBL_recpos < 0 || !__TBL_GetLastData(number, area.TBL_recpos)) EnterNotFound(area);
  return __INIT_NIL();
}

Obj_Node* __TBL_Bof(Obj_Node* alias) {
  return __INIT_BOOL(AreaOf(alias).TBL_bof);
}

Obj_Node* __TBL_Eof(Obj_Node* alias) {
  return __INIT_BOOL(AreaOf(alias).TBL_eof);
}

Obj_Node* __TBL_Found(Obj_Node* alias) {
  return __INIT_BOOL(AreaOf(alias).TBL_found);
}

Obj_Node* __TBL_RecNo(Obj_Node* alias) {
  const VORNE_RDD& area = AreaOf(alias);
  const bool none = area.TBL_append || area.TBL_recpos < 0;
  // On no record it is the number that the next one to be appended gets.
  return __INIT_DOUBLE((none ? RecordCount(area) : area.TBL_recposition) + 1);
}

Obj_Node* __TBL_RecCount(Obj_Node* alias) {
  return __INIT_DOUBLE(RecordCount(AreaOf(alias)));
}

Obj_Node* __TBL_Fcount(Obj_Node* alias) {
  return __INIT_DOUBLE(static_cast<double>(FieldsOf(AreaOf(alias)).size() - 1));
}

Obj_Node* __TBL_RecSize(Obj_Node* alias) {
  VORNE_RDD& area = AreaOf(alias, 3, kRecSizeSubcode);
  const std::size_t size = StoredSize(FieldsOf(area), area.TBL_buff);
  if (size == 0) __RuntimeError(3, kCannotBeStored);
  return __INIT_DOUBLE(static_cast<double>(size));
}
