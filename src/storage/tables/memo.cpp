// Memo texts: records of a database beside the table. A field holds the record's number from 1, 0 for no memo. Texts
// are stored with their zero. One that is replaced keeps its record; a record that no field names any more stays, since
// taking it out would renumber those behind it.
#include <cstring>

#include "builtins/new_text.h"
#include "storage/databases/database_files.h"
#include "storage/format/record_bytes.h"
#include "storage/journal/journal.h"
#include "storage/records/records.h"
#include "storage/records/storing.h"
#include "storage/tables/areas.h"

using namespace vorne;

namespace {

constexpr int kCallsToFlush = 2000;

std::string memoName(const char* table) {
  return std::string(table) + kMemoSuffix;
}

// The field's reference in the area's buffer, null for a field that is no memo.
char* referenceIn(const VORNE_RDD& area, int field) {
  const Fields fields = FieldsOf(area);
  if (field < 1 || field > static_cast<int>(fields.size())) return nullptr;
  const ControlFieldTBL& found = fields[static_cast<std::size_t>(field - 1)];
  return found.FieldType == TBLMEMO ? area.TBL_buff + found.iOffset : nullptr;
}

void countCall(VORNE_RDD& area) {
  if (++area.TBL_sFlush <= kCallsToFlush) return;
  DmSyncDatabase(area.TBL_memo);
  area.TBL_sFlush = 0;
}

}  // namespace

int OpenMemoDB(int number) {
  VORNE_RDD* area = AreaAt(number);
  if (area == nullptr) return 0;
  if (area->TBL_memo != nullptr) return 1;
  const LocalID id = DmFindDatabase(0, memoName(area->TBL_appinfo->TBL_name).c_str());
  if (id != 0) area->TBL_memo = DmOpenDatabase(0, id, 3);
  return area->TBL_memo != nullptr;
}

int CreateMemoDB(const char* table) {
  return table != nullptr && DmCreateDatabase(0, memoName(table).c_str(), 0, kTypeMemo, 0) == errNone;
}

int DeleteMemoDB(const char* table) {
  const LocalID id = table == nullptr ? 0 : DmFindDatabase(0, memoName(table).c_str());
  // A table may have such a name too.
  return id != 0 && IsOfType(OpenFiles[id - 1]->fOffset, kTypeMemo) && DmDeleteDatabase(0, id) == errNone;
}

Obj_Node* ReadMemo(int number, int field) {
  VORNE_RDD* area = AreaAt(number);
  const char* at = area == nullptr ? nullptr : referenceIn(*area, field);
  const UInt32 reference = at == nullptr ? 0 : Load<UInt32>(at);
  if (reference == 0 || !OpenMemoDB(number)) return MakeText("");
  const std::span<const char> text = BytesOf(area->TBL_memo, reference - 1);
  countCall(*area);
  const std::string_view stored(text.data(), text.size());
  return MakeText(stored.substr(0, stored.find('\0')));
}

int WriteMemo(int number, int field, const char* text, int length) {
  VORNE_RDD* area = AreaAt(number);
  char* at = area == nullptr ? nullptr : referenceIn(*area, field);
  if (at == nullptr || text == nullptr || length < 1 || length > static_cast<int>(kLargestRecord) ||
      !OpenMemoDB(number))
    return 0;
  const ChangeSeenByReaders change;
  DmOpenRef memo = area->TBL_memo;
  const std::span<const char> bytes(text, static_cast<std::size_t>(length));
  UInt32 reference = Load<UInt32>(at);
  // The last memo counts as none too, so that its new text becomes a new record.
  if (reference >= DmNumRecords(memo)) reference = 0;
  UInt32 position = reference - 1;
  // Stored before the record that will refer to it: killed in between, a text is there that nothing names. At once
  // and whatever becomes of the record's edit, also that of a deleted record, of which only the mark is written.
  if (!(reference == 0 ? AppendRecord(memo, bytes, &position) : StoreRecord(memo, position, bytes))) return 0;
  Store(at, position + 1);
  countCall(*area);
  return 1;
}
