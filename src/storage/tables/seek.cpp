// Seeking a key in the current order. The key is compared by the bytes that are given: a shorter one finds the first
// key that begins with it.
#include <algorithm>
#include <cstring>
#include <utility>

#include "runtime/arguments.h"
#include "runtime/memory.h"
#include "storage/format/entry_order.h"
#include "storage/format/keys.h"
#include "storage/format/record_bytes.h"
#include "storage/records/entry_file.h"
#include "storage/records/open_databases.h"
#include "storage/records/records.h"
#include "storage/records/waiting_entries.h"
#include "storage/tables/index_attach.h"
#include "storage/tables/index_entries.h"
#include "storage/tables/write.h"

using namespace vorne;

namespace {

constexpr int kNoAreaSubcode = 2, kNoKeySubcode = 3, kNoOrderSubcode = 4;
constexpr std::size_t kSoughtSpare = 6;  // beside the key: the record's place and a spare zero

int areaSought(Obj_Node* alias) {
  return IsMissing(alias) ? AreaNumber(alias, 3, kNoAreaSubcode) : AreaNumber(alias);
}

// The entry that is sought, in the area's second key buffer: no record, then the key as it was given, unpadded.
char* soughtEntry(VORNE_RDD& area, std::string_view key) {
  const std::size_t room = key.size() + kSoughtSpare;
  if (static_cast<std::size_t>(area.TBL_regidxPos) < room || area.TBL_regidxbuff == nullptr) {
    Release(area.TBL_regidxbuff);
    area.TBL_regidxbuff = static_cast<char*>(Allocate(room));
    area.TBL_regidxPos = static_cast<std::int32_t>(room);
  }
  std::memset(area.TBL_regidxbuff, 0, static_cast<std::size_t>(area.TBL_regidxPos));
  key.copy(area.TBL_regidxbuff + kEntryKeyAt, key.size());
  return area.TBL_regidxbuff;
}

bool isDeleted(const VORNE_RDD& area) {
  return IsMarkedDeleted(FieldsOf(area), area.TBL_buff);
}

// One seek in an area with records and an order.
class Search {
 public:
  Search(int number, VORNE_RDD& area, int count, std::string_view text, Boolean soft)
      : number_(number),
        area_(area),
        count_(count),
        order_(*OrderOf(area)),
        entry_(soughtEntry(area, text)),
        length_(std::min(text.size(), static_cast<std::size_t>(order_.IDX_tam_max_key))),
        soft_(soft) {}

  void run() {
    order_.IDX_recID = -1;
    const UInt32 place =
        DmFindSortPosition(order_.IDX_dbRef, entry_, nullptr, __SCmpFunc, static_cast<std::int16_t>(length_));
    if (place == kAppend || !IsOpen(order_.IDX_dbRef)) return EnterNotFound(area_);
    if (IsBehind(order_.IDX_dbRef) && isFirstDamage()) return mendAndRun();
    entries_ = EntriesOf(*order_.IDX_dbRef);
    const SoughtKey key(entry_ + kEntryKeyAt, std::min(length_, entries_.count == 0 ? 0 : entries_.keyLength()));
    // The search tells the place behind the last equal entry; the first of them is taken.
    const UInt32 before = place == 0 ? 0 : place - 1;
    if (before < entries_.count && key.compare(entries_.key(before)) == 0) {
      const UInt32 first = FirstNotSmallerFromBack(entries_, key, 0, before);
      // A single one costs nothing more. Where there are several, one more may be hidden before them; or there are
      // none, since it is the equal one that stands out of order.
      take(first, true, first == before || (key.compare(entries_.key(first)) == 0 && hasItsKey(first - 1)));
    } else if (soft_ && static_cast<int>(place) < count_)
      // The table's count, not the index's: an entry that is missing at the end is no end of the table.
      take(place, false, hasItsKey(place - 1));
    else if ((isBesideDamage(place) || !hasItsKey(place) || !hasItsKey(place - 1)) && isFirstDamage())
      mendAndRun();
    else
      EnterEnd(area_, true);
  }

 private:
  // Once a search: an index that is still wrong when it was made anew would be made anew for ever.
  bool isFirstDamage() { return !std::exchange(mended_, true); }
  void mendAndRun() {
    MendIndex(*area_.TBL_appinfo, order_);
    run();
  }

  // What is missing was written over right there.
  bool isBesideDamage(UInt32 place) const {
    const auto isSound = [&](UInt32 one, int direction) {
      return one >= entries_.count ||
             (NamesOneRecord(entries_, count_, static_cast<int>(one), 0) && IsSoundBeside(entries_, one, direction));
    };
    return !isSound(place, 1) || !isSound(place - 1, -1);
  }

  // A key that is wrong and still in order hides its record's, and stands right beside where the search for that ends.
  // Opening holds each key of a small index against its record, and a part of a large one's: there it is done here, in
  // the buffer that is filled or emptied next.
  bool hasItsKey(UInt32 place) const {
    if (entries_.count <= kMostLookedAt || place >= entries_.count) return true;
    const std::span<const char> record = BytesOf(DatabaseOf(area_), static_cast<UInt32>(entries_.record(place)));
    LoadFields(FieldsOf(area_), record, bswapnum, area_.TBL_buff);
    return NamesLoadedRecord(area_, order_, entries_, static_cast<int>(place));
  }

  void take(UInt32 place, bool found, bool isSoundBefore) {
    order_.IDX_recID = static_cast<std::int32_t>(place);
    const std::int32_t record = place < entries_.count ? entries_.record(place) : -1;
    const bool isSound = place < entries_.count && isSoundBefore && !isBesideDamage(place);
    if (!isSound && isFirstDamage()) return mendAndRun();
    if (record < 0 || !__TBL_GetLastData(number_, record)) return EnterNotFound(area_);
    if (!NamesLoadedRecord(area_, order_, entries_, static_cast<int>(place)) && isFirstDamage()) return mendAndRun();
    area_.TBL_found = found;
    area_.TBL_eof = 0;
    if (found) area_.TBL_bof = 0;
    SkipDeleted(number_, static_cast<int>(place), area_.TBL_Index, entry_, static_cast<int>(length_), soft_);
  }

  int number_;
  VORNE_RDD& area_;
  int count_;  // of the table's records
  IDX_IndexesNames& order_;
  // In the area's buffer: it lives as long as no other seek begins in that area.
  char* entry_;
  std::size_t length_;
  Boolean soft_;
  bool mended_ = false;
  Entries entries_;
};

// Walks on to the first record without the mark. True when its key is the one sought.
bool walkToLive(int number, VORNE_RDD& area, IDX_IndexesNames& order, const SoughtKey& key, int position, bool soft) {
  Entries entries = EntriesOf(*order.IDX_dbRef);
  bool mended = false;
  for (auto place = static_cast<UInt32>(position); place < entries.count; ++place) {
    const bool matches = key.compare(entries.key(place)) == 0;
    if (matches) order.IDX_recID = static_cast<std::int32_t>(place);
    if (!__TBL_GetLastData(number, entries.record(place))) return false;
    const auto at = static_cast<int>(place);
    const bool isSound = NamesLoadedRecord(area, order, entries, at) && IsInOrder(entries, place) &&
                         NamesOneRecord(entries, RecordCount(area), at, -1);
    if (!isSound && !std::exchange(mended, true)) {
      MendIndex(*area.TBL_appinfo, order);
      entries = EntriesOf(*order.IDX_dbRef);
      // The same place once more, in the index made anew.
      --place;
      continue;
    }
    if (!isDeleted(area)) return matches;
    if (!matches && !soft) return false;
  }
  return false;
}

}  // namespace

void SkipDeleted(int number, int position, int index, const char* entry, int length, Boolean soft) {
  VORNE_RDD* area = AreaAt(number);
  IDX_IndexesNames* order = area == nullptr ? nullptr : IndexAt(*area, index);
  if (order == nullptr || position < 0 || !HidesDeleted() || !isDeleted(*area)) return;
  const auto compared = static_cast<std::size_t>(std::clamp(length, 0, order->IDX_tam_max_key));
  const Boolean found = area->TBL_found;
  if (walkToLive(number, *area, *order, SoughtKey(entry + kEntryKeyAt, compared), position, soft)) {
    area->TBL_found = found;
    return;
  }
  if (!soft) return EnterEnd(*area, true);
  // Whoever seeks softly among deleted records gets no end flag and a blank record.
  area->TBL_eof = area->TBL_bof = area->TBL_found = 0;
  area->TBL_recpos = -1;
  BlankBuffer(*area);
}

Obj_Node* __Seek(Obj_Node* alias, Obj_Node* key, Obj_Node* soft) {
  const int number = areaSought(alias);
  VORNE_RDD& area = *AreaAt(number);
  if (OrderOf(area) == nullptr) __RuntimeError(9, kNoOrderSubcode);
  WritePending(number);
  const int count = RecordCount(area);
  if (count == 0) {
    area.TBL_eof = area.TBL_bof = 1;
    area.TBL_found = 0;
    return __INIT_BOOL(0);
  }
  if (!HasText(key)) __RuntimeError(3, kNoKeySubcode);
  const bool softly = soft != nullptr && soft->objVarType == varBool && soft->objData.mbool != 0;
  Search(number, area, count, TextArgument(key).shown, softly).run();
  return __INIT_BOOL(static_cast<short>(area.TBL_found));
}
