#include "sync/table_areas.h"

#include <strings.h>

#include <algorithm>

#include "runtime/to_int.h"
#include "storage/databases/database_files.h"
#include "storage/databases/tempdb.h"
#include "storage/format/names.h"
#include "storage/format/record_bytes.h"
#include "storage/tables/opening.h"
#include "storage/tables/table_descriptions.h"

namespace vorne {

namespace {

// Opening what is no table is an error of the script that does so; here the name may be the host's.
// Calls `look(database)` for what may be a table of that name; false when there is none.
template <class Look>
bool lookAt(const std::string& name, Look look) {
  const LocalID id = DmFindDatabase(0, name.c_str());
  if (id == 0 || IsTemporaryName(name) || !IsOfType(OpenFiles[id - 1]->fOffset, kTypeData)) return false;
  const DmOpenRef db = DmOpenDatabase(0, id, 3);
  if (db == nullptr) return false;
  const bool seen = look(db);
  DmCloseDatabase(db);
  return seen;
}

bool isTable(const std::string& name) {
  return lookAt(name, [](DmOpenRef db) { return ParseTableBlock(BlockOf(db)).has_value(); });
}

bool hasFreeArea() {
  for (int area = 0; area < S_GLOB->TBL_amnt_open_dbs; ++area)
    if (AreaSlot(area) == nullptr) return true;
  return false;
}

}  // namespace

int OpenTableArea(const std::string& name) {
  const std::string folded = FoldedName(name);
  if (S_GLOB == nullptr || !hasFreeArea() || !isTable(folded)) return -1;
  myAppInfoType* table = __TBL_CreateOrOpen(folded.c_str(), kTypeData, 3);
  if (table == nullptr) return -1;
  const int area = OpenArea(table, folded, nullptr);
  if (area < 0) {
    ReleaseTable(table);
    return -1;
  }
  OpenMemoDB(area);
  return area;
}

bool IsUnfinishedTable(const std::string& name) {
  return lookAt(name, [](DmOpenRef db) {
    // The room for the description may be there already.
    const std::span<const char> block = BlockOf(db);
    return DmNumRecords(db) == 0 && std::all_of(block.begin(), block.end(), [](char c) { return c == '\0'; });
  });
}

RecordValues::RecordValues(Fields fields)
    : fields_(fields), buffer_(static_cast<std::size_t>(fields.back().iOffset + BufferRoom(fields.back())), '\0') {}

void RecordValues::load(std::span<const char> record) {
  LoadFields(fields_, record, bswapnum, buffer_.data());
}

bool RecordValues::isDeleted() const {
  return IsMarkedDeleted(fields_, buffer_.data());
}

const ControlFieldTBL* RecordValues::find(std::string_view field, FType type) const {
  const std::uint32_t number = FieldNumber(fields_, field);
  return number == 0 || fields_[number - 1].FieldType != type ? nullptr : &fields_[number - 1];
}

std::string RecordValues::text(std::string_view field) const {
  const ControlFieldTBL* found = find(field, TBLSTRING);
  return found == nullptr ? std::string() : FoldedName(TextIn(*found, buffer_.data()));
}

bool RecordValues::is(std::string_view field, std::string_view value) const {
  const ControlFieldTBL* found = find(field, TBLSTRING);
  if (found == nullptr) return false;
  const std::string_view text = TextIn(*found, buffer_.data());
  return text.size() == value.size() && strncasecmp(text.data(), value.data(), value.size()) == 0;
}

char RecordValues::letter(std::string_view field) const {
  const std::string value = text(field);
  return value.empty() ? ' ' : value[0];
}

int RecordValues::number(std::string_view field) const {
  const ControlFieldTBL* found = find(field, TBLNUM);
  return found == nullptr ? 0 : ToInt(NumberIn(*found, buffer_.data()));
}

}  // namespace vorne
