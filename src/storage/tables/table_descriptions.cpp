// A description lives in three forms: the block in a database's file (format/description.h), TableDescription between,
// and myAppInfoType, whose layout programs know, for open tables.
#include "storage/tables/table_descriptions.h"

#include <cstring>

#include "storage/files/mapped_file.h"
#include "storage/records/app_info.h"
#include "storage/records/open_databases.h"

namespace vorne {

namespace {

constexpr int kNoTableBlock = 33, kNoIndexSpace = 34, kNoIndexBlock = 35;

// A table as callers see it, and what its pointers lead to. The fields stand one behind the other.
struct OwnedTable : myAppInfoType {
  std::vector<ControlFieldTBL> fields;
  // Of `fields`, which is never changed after they are taken.
  std::vector<ControlFieldTBL*> pointers;
};

void storeBlock(DmOpenRef db, const std::string& block, int noSpace, int notLockable) {
  const auto size = static_cast<UInt32>(block.size());
  const MemHandle handle = DmNewHandle(db, size);
  if (handle == nullptr) __RuntimeError(3, noSpace);
  void* at = MemHandleLock(handle);
  if (at == nullptr || DmWrite(at, 0, block.data(), size) != errNone) __RuntimeError(3, notLockable);
  const LocalID id = DmFindDatabase(0, db->fName), info = MemHandleToLocalID(handle);
  if (DmSetDatabaseInfo(0, id, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &info, nullptr, nullptr,
                        nullptr) != errNone)
    __RuntimeError(3, noSpace);
}

}  // namespace

myAppInfoType* NewTable(const TableDescription& description) {
  auto* owned = new OwnedTable{{}, description.fields, {}};
  for (ControlFieldTBL& field : owned->fields) owned->pointers.push_back(&field);
  myAppInfoType& table = *owned;
  table.TBL_lastupdate = description.lastUpdate;
  description.name.copy(table.TBL_name, kLongestTableName);
  table.TBL_cardno = description.cardNumber;
  table.TBL_type = static_cast<std::int32_t>(description.type);
  table.TBL_openmode = description.openMode;
  table.TBL_numFields = static_cast<std::uint32_t>(owned->fields.size());
  table.TBL_ctrlFieldTBL = owned->pointers.data();
  return &table;
}

TableDescription DescriptionOf(const myAppInfoType& table) {
  const auto fields = Fields(*table.TBL_ctrlFieldTBL, table.TBL_numFields);
  return {table.TBL_lastupdate,
          table.TBL_name,
          table.TBL_cardno,
          static_cast<std::uint32_t>(table.TBL_type),
          table.TBL_openmode,
          table.TBL_numIndexes,
          {fields.begin(), fields.end()}};
}

void FreeTable(myAppInfoType* table) {
  delete static_cast<OwnedTable*>(table);
}

std::span<const char> BlockOf(DmOpenRef db) {
  if (!IsOpen(db)) return {};
  const FileHeader header = HeaderOf(*db->hFile);
  const std::span<const char> used = UsedBytes(*db->hFile);
  if (used.size() < kHeaderSize) return {};
  // A damaged length must not lead out of what is used.
  return used.subspan(kHeaderSize, std::min<std::size_t>(header.AppInfoLen, used.size() - kHeaderSize));
}

}  // namespace vorne

using namespace vorne;

int __TBL_CreateOrChangeMyAppInfo(myAppInfoType* table) {
  if (table == nullptr || !IsOpen(table->TBL_dbRef)) __RuntimeError(3, kNoTableBlock);
  const TableDescription description = DescriptionOf(*table);
  storeBlock(table->TBL_dbRef, TableBlock(description), kNoTableBlock, kNoTableBlock);
  for (std::uint32_t i = 0; i < table->TBL_numIndexes; ++i) {
    const IDX_IndexesNames& index = *table->TBL_IndexesNames[i];
    if (!IsOpen(index.IDX_dbRef)) continue;
    std::vector<IDX_Indexes> key(index.IDX_ind, index.IDX_ind + index.IDX_amntFieldKeys);
    // Written back as it was read: the program that made this index counts its fields from 0.
    for (IDX_Indexes& part : key) part.KeyField -= static_cast<const OwnedIndex&>(index).countsFromZero;
    storeBlock(index.IDX_dbRef, IndexBlock(description, {description.name, index.IDX_name, index.IDX_tam_max_key, key}),
               kNoIndexSpace, kNoIndexBlock);
  }
  return 0;
}
