// What is added lies behind all that was there: taking it back is cutting off records, memo texts and index entries
// from three numbers on.
#include "storage/tables/bulk_load.h"

#include "storage/format/record_bytes.h"
#include "storage/tables/index_upkeep.h"

namespace vorne {

namespace {

// Removes the records from `first` on of a database that may be open or not.
bool cutOff(const std::string& name, std::uint32_t first) {
  const LocalID id = DmFindDatabase(0, name.c_str());
  DmOpenRef db = id == 0 ? nullptr : DmOpenDatabase(0, id, 3);
  if (db == nullptr) return false;
  const std::uint32_t count = DmNumRecords(db);
  const bool cut = count <= first || ExcluirFaixa(db, first, count - 1) == errNone;
  DmCloseDatabase(db);
  return cut;
}

}  // namespace

BulkLoad::BulkLoad(int area)
    : area_(area),
      rdd_(*AreaAt(area)),
      fields_(FieldsOf(rdd_)),
      name_(rdd_.TBL_appinfo->TBL_name),
      hasMemo_(rdd_.TBL_memo != nullptr),
      firstRecord_(DmNumRecords(DatabaseOf(rdd_))),
      firstMemo_(DmNumRecords(rdd_.TBL_memo)) {
  // From here on only entries of what is added wait.
  SettleIndexes(*rdd_.TBL_appinfo);
}

void BulkLoad::begin() {
  BlankFields(fields_, rdd_.TBL_buff);
}

bool BulkLoad::storeMemo(std::size_t field, std::string_view text) {
  // Its zero is stored with it.
  memo_.assign(text);
  return WriteMemo(area_, static_cast<int>(field) + 1, memo_.c_str(), static_cast<int>(memo_.size()) + 1) == 1;
}

bool BulkLoad::add() {
  if (__WriteRecord(area_, 'T') != 1) return false;
  ++added_;
  return true;
}

void BulkLoad::finish() {
  SettleIndexes(*rdd_.TBL_appinfo);
}

bool BulkLoad::takeBack() {
  // Records before memo texts: a text that no record names is lost space, a record without its text is damage.
  const bool cut = cutOff(name_, firstRecord_) && (!hasMemo_ || cutOff(name_ + kMemoSuffix, firstMemo_));
  // Without an area the runtime has ended: indexes that do not fit are made anew when the table is opened next.
  if (AreaAt(area_) == nullptr) return cut;
  rdd_.TBL_append = rdd_.TBL_fieldchanged = 0;
  rdd_.TBL_recpos = -1;
  if (!CutIndexes(*rdd_.TBL_appinfo, firstRecord_)) __Reindex(__INIT_DOUBLE(area_));
  return cut;
}

}  // namespace vorne
