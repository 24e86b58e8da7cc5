// One call writes an area's buffer, as a new record or over the one that it was loaded from. Readers beside the program
// see the old record or the new one: to them the writing is one change (ChangeSeenByReaders).
#include "storage/tables/write.h"

#include <string>

#include "storage/format/record_bytes.h"
#include "storage/journal/journal.h"
#include "storage/records/handle_calls.h"
#include "storage/records/records.h"
#include "storage/records/storing.h"
#include "storage/tables/index_upkeep.h"

using namespace vorne;

namespace {

constexpr int kCannotBeStored = 8;

Boolean dirtyBit(DmOpenRef db, int position) {
  UInt16 attributes = 0;
  DmRecordInfo(db, static_cast<UInt32>(position), &attributes);
  return (attributes & kDirty) != 0;
}

// Deleting touches nothing but the mark: changes that were not written before are dropped with the record.
bool storeMark(VORNE_RDD& area) {
  DmOpenRef db = DatabaseOf(area);
  const auto position = static_cast<UInt32>(area.TBL_recposition);
  const Boolean dirty = dirtyBit(db, area.TBL_recposition);
  const MemHandle handle = DmGetRecord(db, position);
  if (handle == nullptr) return false;
  const std::span<const char> record = {(*handle)->data, (*handle)->size};
  std::string mark(MarkBytes(FieldsOf(area), record).size(), '\0');
  bool stored = mark.size() >= kEndMarkSize;
  if (stored) {
    // Zeros up to it: where a mark stands in front of zeros, that one would be left inside the record.
    mark[mark.size() - kEndMarkSize] = kDeleted;
    stored = WriteBytes(**handle, static_cast<UInt32>(record.size() - mark.size()), mark) == errNone;
  }
  return DmReleaseRecord(db, position, dirty) == errNone && stored;
}

// The record that the buffer makes, at least `least` bytes long.
const std::string& recordBytes(VORNE_RDD& area, std::size_t least, Boolean hostOrder) {
  // Its memory serves again: a cash desk writes thousands of records a day, one at a time.
  static std::string bytes;
  const Fields fields = FieldsOf(area);
  const std::size_t size = StoredSize(fields, area.TBL_buff);
  // A record that gets shorter keeps its length, so that nothing behind it has to move.
  bytes.resize(std::max(size, least));
  if (size == 0 || bytes.size() > kLargestRecord) __RuntimeError(3, kCannotBeStored);
  StoreFields(fields, area.TBL_buff, bswapnum && !hostOrder, bytes.data(), bytes.size());
  return bytes;
}

bool replaceRecord(VORNE_RDD& area, Boolean dirty, Boolean hostOrder) {
  DmOpenRef db = DatabaseOf(area);
  const auto position = static_cast<UInt32>(area.TBL_recposition);
  const std::size_t old = BytesOf(db, position).size();
  if (old == 0) return false;
  const std::string& bytes = recordBytes(area, old, hostOrder);
  // Before the record is stored: the entries to be taken out are made of what it holds now.
  EntryChanges entries(area, area.TBL_recposition, hostOrder);
  if (!StoreRecord(db, position, bytes, dirty)) return false;
  entries.recordStored(area.TBL_recposition);
  return true;
}

bool appendRecord(VORNE_RDD& area, Boolean dirty, Boolean hostOrder) {
  const std::string& bytes = recordBytes(area, 0, hostOrder);
  EntryChanges entries(area, -1, hostOrder);
  UInt32 position = 0;
  if (!AppendRecord(DatabaseOf(area), bytes, &position, dirty)) return false;
  area.TBL_recposition = static_cast<std::int32_t>(position);
  entries.recordStored(area.TBL_recposition);
  return true;
}

}  // namespace

void vorne::WritePending(int area) {
  VORNE_RDD* rdd = AreaAt(area);
  if (rdd == nullptr || !rdd->TBL_fieldchanged) return;
  __WriteRecord(area, 'P');
  rdd->TBL_fieldchanged = 0;
}

int __WriteRecord(int number, char mode, Boolean dirty, Boolean hostOrder) {
  VORNE_RDD* area = AreaAt(number);
  if (area == nullptr) return 0;
  const bool appends = area->TBL_append || mode == 'T';
  const bool deletes = !appends && IsMarkedDeleted(FieldsOf(*area), area->TBL_buff);
  // An area at an end has no record that could be written over.
  if (!appends && area->TBL_recpos < 0) return 0;
  const ChangeSeenByReaders change;
  if (!(appends   ? appendRecord(*area, dirty, hostOrder)
        : deletes ? storeMark(*area)
                  : replaceRecord(*area, dirty, hostOrder)))
    return 0;
  if (deletes) ++area->TBL_sFlush;
  area->TBL_recpos = area->TBL_recposition;
  area->TBL_append = area->TBL_fieldchanged = area->TBL_eof = area->TBL_bof = 0;
  area->TBL_buffPos = 0;
  return 1;
}

Obj_Node* __DBAPPEND(Obj_Node* alias) {
  const int number = AreaNumber(alias);
  WritePending(number);
  VORNE_RDD& area = *AreaAt(number);
  BlankFields(FieldsOf(area), area.TBL_buff);
  area.TBL_append = area.TBL_fieldchanged = 1;
  area.TBL_eof = area.TBL_bof = area.TBL_found = 0;
  return __INIT_BOOL(1);
}

Obj_Node* __Commit(Obj_Node* alias) {
  WritePending(AreaNumber(alias));
  return __INIT_BOOL(1);
}

Obj_Node* __CommitAll() {
  for (int area = 0; area < S_GLOB->TBL_lasttable; ++area) WritePending(area);
  return __INIT_BOOL(1);
}
