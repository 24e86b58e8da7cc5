// Taking records out: one, a range, all of them. Records that go leave no hole: what follows moves up, as one protected
// move with its count.
#include <algorithm>

#include "storage/records/moves.h"
#include "storage/records/offsets.h"
#include "storage/records/open_databases.h"
#include "storage/records/records.h"
#include "storage/records/waiting_entries.h"

using namespace vorne;

namespace {

// Takes out `count` records from `index` on, which lie from `begin` to `end`; at least one other record is left.
void removeRange(DmOpenRef db, UInt32 index, UInt32 count, UInt32 begin, UInt32 end) {
  TailMove move = MoveOf(*db->hFile, begin, static_cast<std::int64_t>(begin) - end);
  // The count goes down with the move, as part of the header that it stores last.
  move.after.NumberOfRecords -= count;
  move.offsetsFollow = db->hOS != nullptr;
  {
    const ProtectedMove made(db->hFile, move);
    RemoveOffset(db, index, end - begin, count);
  }
  FollowMove(db, move);
}

}  // namespace

void __InternalZap(DmOpenRef db) {
  if (!IsOpen(db)) __RuntimeError(0, -1);
  EmptyRecords(db);
  SettleZapped(db);
}

Err DmRemoveRecord(DmOpenRef db, UInt32 index) {
  if (!IsOpen(db)) return errArgument;
  SettleHeld(db);
  const UInt32 place = index < db->Head.NumberOfRecords ? RecordPlace(*db, index) : 0;
  if (place == 0) return errNoSuchRecord;
  FreeHandle(HeldRecord(*db));
  // The only record: what else lies behind it goes too, as when a table is emptied.
  if (db->Head.NumberOfRecords == 1) {
    __InternalZap(db);
    return errNone;
  }
  removeRange(db, index, 1, place, RecordEnd(*db, place));
  return errNone;
}

Err ExcluirFaixa(DmOpenRef db, UInt32 first, UInt32 last) {
  if (!IsOpen(db) || last < first) return errArgument;
  SettleHeld(db);
  const UInt32 count = db->Head.NumberOfRecords;
  if (first >= count) return errNoSuchRecord;
  last = std::min(last, count - 1);
  const UInt32 begin = RecordPlace(*db, first);
  const UInt32 lastPlace = RecordPlace(*db, last);
  if (begin == 0 || lastPlace < begin) return errNoSuchRecord;
  FreeHandle(HeldRecord(*db));
  // Emptying moves nothing, however large the file is.
  if (first == 0 && last == count - 1)
    __InternalZap(db);
  else
    removeRange(db, first, last - first + 1, begin, RecordEnd(*db, lastPlace));
  return errNone;
}

int __MoveDataBk(DmOpenRef db, long n, UInt32 index) {
  if (!IsOpen(db) || n <= 0 || index > kAppend) return 0;
  const UInt32 position = __PositionOnRecordBegin(db, index);
  if (position < RecordsBegin(db->Head) || position >= static_cast<UInt32>(db->hFile->szmap))
    return MoveBwd(db->hFile, n);
  TailMove move = MoveOf(*db->hFile, position, -std::min<std::int64_t>(n, db->hFile->szmap - position));
  move.offsetsFollow = db->hOS != nullptr;
  {
    const ProtectedMove made(db->hFile, move);
    RemoveOffset(db, index, move.from - move.to);
  }
  FollowMove(db, move);
  return 1;
}
