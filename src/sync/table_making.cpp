#include "sync/table_making.h"

#include <algorithm>

#include "runtime/arguments.h"
#include "storage/databases/tempdb.h"
#include "storage/format/keys.h"
#include "storage/format/names.h"
#include "storage/format/record_bytes.h"
#include "storage/tables/table_descriptions.h"
#include "sync/catalog_tables.h"
#include "sync/state_lines.h"
#include "sync/table_areas.h"

namespace vorne {

namespace {

constexpr int kDateLength = 8, kMemoLength = 4;
// Databases that can still be found are left for the programs of the workstation, whatever a host makes.
constexpr int kSlotsWanted = 512;
constexpr char kNoIndexName[] = "INVALID_INDEX";

// A name that scripts can tell from others.
bool isFieldName(const std::string& name) {
  return !name.empty() && name.size() <= kLongestFieldName && name != kDeletionField &&
         std::all_of(name.begin(), name.end(), [](char c) { return static_cast<unsigned char>(c) > ' ' && c != 0x7F; });
}

// None for what __DBCREATE would end the process for.
std::optional<ControlFieldTBL> fieldOf(const CatalogField& field) {
  const std::optional<FType> type = TypeOfLetter(field.type);
  if (!isFieldName(field.name) || !type || *type > TBLMEMO) return {};
  if (*type == TBLDATE) return MakeField(field.name, *type, kDateLength, 0);
  if (*type == TBLMEMO) return MakeField(field.name, *type, kMemoLength, 0);
  if (*type == TBLBOOL) return MakeField(field.name, *type, 1, 0);
  const int decimals = *type == TBLNUM ? field.decimals : 0;
  if (field.length < 1 || field.length > kLongestField || decimals < 0 || decimals > field.length) return {};
  return MakeField(field.name, *type, field.length, decimals);
}

// Records hold values of all other types in one way, however many digits are shown.
bool isAs(const CatalogField& row, const ControlFieldTBL& field) {
  const std::optional<ControlFieldTBL> wanted = fieldOf(row);
  return wanted && FoldedName(wanted->FieldName) == FoldedName(field.FieldName) &&
         wanted->FieldType == field.FieldType && (field.FieldType != TBLSTRING || wanted->FieldLen == field.FieldLen);
}

// What of the catalogue's fields keeps them from being a table's; empty when nothing does.
std::string whatIsWrong(const std::vector<CatalogField>& rows, TableDescription& description) {
  if (rows.empty() || rows.size() >= kMostFields) return kFieldCatalog;
  for (const CatalogField& row : rows) {
    const std::optional<ControlFieldTBL> field = fieldOf(row);
    if (!field || FieldNumber(description.fields, field->FieldName) != 0)
      return std::string(kFieldCatalog) + " " + row.name;
    description.fields.push_back(*field);
  }
  description.fields.push_back(MakeField(kDeletionField, TBLSTRING, kEndMarkSize, 0));
  // The largest record must be one that can be stored, and the description one that can be read back.
  std::int64_t size = 0;
  for (const ControlFieldTBL& field : description.fields) size += BufferRoom(field);
  return size > kLargestRecord || TableBlock(description).size() > kLargestNewSpace ? kFieldCatalog : std::string();
}

// A name is free when nothing of the data directory has it, nor what goes with it.
bool isFree(const std::string& name) {
  return DmFindDatabase(0, name.c_str()) == 0 && DmFindDatabase(0, OffsetsName(name).c_str()) == 0;
}

bool hasSlots() {
  return OpenCatalog() == errNone && std::count(OpenFiles, OpenFiles + kOpenFiles, nullptr) >= kSlotsWanted;
}

bool create(const TableDescription& description) {
  __begin_context();
  Obj_Node* rows = __Array(__INIT_DOUBLE(0), nullptr);
  for (const ControlFieldTBL& field : Fields(description.fields).first(description.fields.size() - 1)) {
    const char letter[] = {TypeLetter(field.FieldType), '\0'};
    __AAdd(rows, __CreateArray(__INIT_CHARPTR(field.FieldName), __INIT_CHARPTR(letter), __INIT_DOUBLE(field.FieldLen),
                               __INIT_DOUBLE(field.FieldDecLen), __INIT_NUL()));
  }
  const bool made = IsTrue(__DBCREATE(__INIT_CHARPTR(description.name.c_str()), rows));
  __end_context(nullptr);
  return made;
}

// The numbers of the key's fields; empty when it can be no key.
std::vector<std::uint32_t> keyFieldsOf(Fields fields, const CatalogIndex& index) {
  std::vector<std::uint32_t> numbers;
  std::vector<IDX_Indexes> key;
  for (const std::string& name : index.fields) {
    // The deletion mark, which is the last field, changes without its record being written.
    numbers.push_back(FieldNumber(fields.first(fields.size() - 1), name));
    key.push_back({numbers.back()});
  }
  const bool fits = KeyRoom(fields, key) != 0 && numbers.size() <= kMostFields;
  return fits ? numbers : std::vector<std::uint32_t>();
}

// The table that has an index of that name, or else the name itself, which is then a table's.
std::string holderOf(const std::string& name) {
  const LocalID id = DmFindDatabase(0, name.c_str());
  const DmOpenRef db = id == 0 ? nullptr : DmOpenDatabase(0, id, 1);
  if (db == nullptr) return name;
  const std::optional<IndexDescription> index = ParseIndexBlock(BlockOf(db));
  DmCloseDatabase(db);
  return index ? index->table : name;
}

bool openIndex(const CatalogIndex& index, int area) {
  const auto refuse = [&index](const std::string& why) { return Refuse(SyncText::IndexRefused, index.name, why); };
  if (!IsTableName(index.name) || index.name == kNoIndexName) return refuse(kIndexCatalog);
  if (__UseIndex(area, index.name.c_str()) >= 0) return true;
  const std::vector<std::uint32_t> key = keyFieldsOf(FieldsOf(*AreaAt(area)), index);
  if (key.empty() || !hasSlots()) return refuse(kIndexCatalog);
  const bool made = DmFindDatabase(0, OffsetsName(index.name).c_str()) == 0 &&
                    __TrataCriaIndice(area, index.name.c_str(), key.data(), static_cast<int>(key.size())) != 0;
  return made || refuse(holderOf(index.name));
}

}  // namespace

bool Refuse(SyncText what, const std::string& name, const std::string& why) {
  Tell(what, name.c_str(), why.c_str());
  return false;
}

bool IsTableName(const std::string& name) {
  // The directory's own files have small letters, which is no reason to have others beside them that look the same.
  std::string small = name;
  for (char& c : small)
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  return name.size() <= kLongestTableName && IsDatabaseName(name) && IsDatabaseName(small) && !IsTemporaryName(name) &&
         !FoldedName(name).ends_with(kOffsetsSuffix);
}

bool MakeTable(const std::string& name) {
  if (!IsTableName(name)) return Refuse(SyncText::TableRefused, name, kTableCatalog);
  TableDescription description;
  description.name = name;
  const std::string wrong = whatIsWrong(CatalogFieldsOf(name), description);
  if (!wrong.empty()) return Refuse(SyncText::TableRefused, name, wrong);
  const bool memo = std::any_of(description.fields.begin(), description.fields.end(),
                                [](const ControlFieldTBL& field) { return field.FieldType == TBLMEMO; });
  const std::string memoName = name + kMemoSuffix;
  // What an interrupted making has left goes when the table is made again.
  const bool isFreeName = IsUnfinishedTable(name) || (isFree(name) && (!memo || isFree(memoName)));
  if (!isFreeName || (memo && memoName.size() > kLongestName) || !hasSlots())
    return Refuse(SyncText::TableRefused, name, kTableCatalog);
  Tell(SyncText::Creating, name.c_str());
  return create(description);
}

std::string WhatDiffers(const std::string& table) {
  const std::vector<CatalogField> rows = CatalogFieldsOf(table);
  const TableArea area(table);
  if (rows.empty() || !area.isOpen()) return {};
  const Fields fields = area.fields().first(area.fields().size() - 1);  // without the deletion mark
  for (std::size_t i = 0; i < std::max(rows.size(), fields.size()); ++i) {
    if (i >= rows.size()) return fields[i].FieldName;
    if (i >= fields.size() || !isAs(rows[i], fields[i])) return rows[i].name;
  }
  return {};
}

bool OpenIndexes(const std::string& table, int area) {
  const std::vector<CatalogIndex> indexes = CatalogIndexesOf(table);
  if (indexes.size() > kMostIndexes) return Refuse(SyncText::IndexRefused, indexes[kMostIndexes].name, kIndexCatalog);
  return std::all_of(indexes.begin(), indexes.end(),
                     [area](const CatalogIndex& index) { return openIndex(index, area); });
}

int MergeIndex(const std::string& table, const std::string& name, int area) {
  // Several rows of these have one key: they are told apart by nothing but all their fields.
  if (table == kFieldCatalog || table == kIndexCatalog) return -1;
  if (!name.empty()) {
    const int number = __GetIdxInd(area, name.c_str());
    return number < 0 ? -2 : number;
  }
  const std::vector<CatalogIndex> indexes = CatalogIndexesOf(table);
  const int first = indexes.empty() ? -1 : __GetIdxInd(area, indexes.front().name.c_str());
  return first >= 0 ? first : static_cast<int>(AreaAt(area)->TBL_appinfo->TBL_numIndexes) > 0 ? 0 : -1;
}

}  // namespace vorne
