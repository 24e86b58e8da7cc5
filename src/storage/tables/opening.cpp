// Every area has a description of its own (myAppInfoType) with its own list of indexes, also where several have one
// table open; the databases behind them are shared and counted.
#include "storage/tables/opening.h"

#include <algorithm>
#include <utility>

#include "runtime/hooks.h"
#include "runtime/memory.h"
#include "storage/databases/database_files.h"
#include "storage/databases/put_away.h"
#include "storage/format/record_bytes.h"
#include "storage/journal/journal.h"
#include "storage/records/open_databases.h"
#include "storage/tables/index_attach.h"
#include "storage/tables/table_descriptions.h"
#include "storage/tables/write.h"

namespace vorne {

namespace {

constexpr std::size_t kBufferSpare = 4;

std::vector<std::string> beingMade;  // databases that are not whole yet

int freeArea() {
  for (int area = 0; area < S_GLOB->TBL_amnt_open_dbs; ++area)
    if (AreaSlot(area) == nullptr) return area;
  return -1;
}

void freeArea(int area) {
  VORNE_RDD* rdd = AreaSlot(area);
  // Out of the list before anything of it is let go: nothing that closing calls may find half an area.
  AreaSlot(area) = nullptr;
  // It may have changed records that stand in the buffers of other areas.
  ForEachAreaOf(DatabaseOf(*rdd), [](int, VORNE_RDD& other) { DoubtKeys(other); });
  if (S_GLOB->TBL_this == area) S_GLOB->TBL_this = -1;
  Release(rdd->TBL_buff);
  Release(rdd->TBL_idxbuff);
  Release(rdd->TBL_regidxbuff);
  if (rdd->TBL_memo != nullptr) DmCloseDatabase(rdd->TBL_memo);
  ReleaseTable(rdd->TBL_appinfo);
  Release(rdd);
}

// As its table, its memo texts or an index.
bool holds(const VORNE_RDD& area, DmOpenRef db) {
  if (DatabaseOf(area) == db || area.TBL_memo == db) return true;
  const myAppInfoType& table = *area.TBL_appinfo;
  return std::any_of(table.TBL_IndexesNames, table.TBL_IndexesNames + table.TBL_numIndexes,
                     [db](const IDX_IndexesNames* index) { return index->IDX_dbRef == db; });
}

DmOpenRef openOfType(const char* name, std::uint32_t type, std::uint32_t mode) {
  const LocalID id = DmFindDatabase(0, name);
  return id != 0 && IsOfType(OpenFiles[id - 1]->fOffset, type) ? DmOpenDatabase(0, id, static_cast<UInt16>(mode))
                                                               : nullptr;
}

}  // namespace

void ReleaseTable(myAppInfoType* table) {
  if (table == nullptr) return;
  DetachIndexes(*table);
  if (table->TBL_dbRef != nullptr) DmCloseDatabase(table->TBL_dbRef);
  FreeTable(table);
}

int OpenArea(myAppInfoType* table, const std::string& alias, Obj_Node* constant) {
  const int area = freeArea();
  if (area < 0) return -1;
  const ControlFieldTBL& last = FieldsOf(*table).back();
  const std::int32_t room = last.iOffset + BufferRoom(last);
  hooks.closeWorkAreas = CloseAllAreas;
  beforeDeletion = CloseAreasOf;
  auto* rdd = static_cast<VORNE_RDD*>(Allocate(sizeof(VORNE_RDD)));
  rdd->TBL_constAlias = constant;
  rdd->TBL_ialias = static_cast<std::int32_t>(alias.copy(rdd->TBL_alias, sizeof rdd->TBL_alias - 1));
  rdd->TBL_open = 1;
  rdd->TBL_Index = -1;
  rdd->TBL_recpos = -1;
  rdd->TBL_tam_max_buff = room + static_cast<std::int32_t>(kBufferSpare);
  rdd->TBL_buff = static_cast<char*>(Allocate(static_cast<std::size_t>(rdd->TBL_tam_max_buff)));
  rdd->TBL_appinfo = table;
  AreaSlot(area) = rdd;
  // One behind the highest area that was open: it comes down only when all are closed.
  if (S_GLOB->TBL_lasttable <= area) S_GLOB->TBL_lasttable = static_cast<std::int16_t>(area + 1);
  return area;
}

void CloseAreasOf(DmOpenRef db) {
  if (S_GLOB == nullptr) return;
  for (int area = 0; area < S_GLOB->TBL_lasttable; ++area)
    if (AreaSlot(area) != nullptr && holds(*AreaSlot(area), db)) freeArea(area);
}

Making::Making(std::string name) {
  const ChangeSeenByReaders journal;  // without one, nothing of it could be taken back
  beingMade.push_back(std::move(name));
  hooks.closeWorkAreas = CloseAllAreas;
  beforeDeletion = CloseAreasOf;
}

Making::~Making() {
  beingMade.pop_back();
}

void CloseAllAreas() {
  if (S_GLOB == nullptr || S_GLOB->rdd == nullptr) return;
  for (int area = 0; area < S_GLOB->TBL_lasttable; ++area) __CloseTBL(area);
  S_GLOB->TBL_lasttable = 0;
  // Only an error gets here with one of them: what was begun is taken back.
  for (const std::string& name : beingMade)
    if (const LocalID id = DmFindDatabase(0, name.c_str())) DmDeleteDatabase(0, id);
  PutAllBack();
}

}  // namespace vorne

using namespace vorne;

namespace {

constexpr int kCloseSubcode = 15, kUnreadable = 55, kCloseTableSubcode = 56;

}  // namespace

myAppInfoType* __TBL_CreateOrOpen(const char* name, std::uint32_t type, std::uint32_t mode,
                                  myAppInfoType* description) {
  if (name == nullptr) return nullptr;
  if (description != nullptr && DmCreateDatabase(0, name, 0, type, 0) != errNone) return nullptr;
  DmOpenRef db = openOfType(name, type, mode);
  if (db == nullptr) return nullptr;
  if (description != nullptr) {
    description->TBL_dbRef = db;
    return description;
  }
  std::optional<TableDescription> read = ParseTableBlock(BlockOf(db));
  if (!read) {
    DmCloseDatabase(db);
    __RuntimeError(3, kUnreadable);
  }
  // The database may have been given another name since.
  read->name = db->fName;
  myAppInfoType* table = NewTable(*read);
  table->TBL_dbRef = db;
  AttachIndexes(*table);
  return table;
}

int __CloseTBL(int area) {
  if (!IsAreaNumber(area)) __RuntimeError(3, kCloseTableSubcode);
  if (AreaSlot(area) == nullptr) return 0;
  WritePending(area);
  freeArea(area);
  return 1;
}

Obj_Node* __DB_CloseArea(Obj_Node* alias) {
  const int area = __GetAliasID(alias);
  if (!IsAreaNumber(area)) __RuntimeError(3, kCloseSubcode);
  return __INIT_BOOL(static_cast<short>(__CloseTBL(area)));
}

Obj_Node* __dbCloseAll() {
  CloseAllAreas();
  return __INIT_NIL();
}
