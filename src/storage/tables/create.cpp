// Making, opening and deleting tables. A structure comes from a script, so each of its elements is held to what a
// description can tell.
#include <algorithm>
#include <cerrno>
#include <cstring>

#include "runtime/arguments.h"
#include "runtime/latin1.h"
#include "storage/databases/catalog.h"
#include "storage/databases/database_files.h"
#include "storage/databases/put_away.h"
#include "storage/files/diagnostic_log.h"
#include "storage/files/kept_copies.h"
#include "storage/files/mapped_file.h"
#include "storage/format/names.h"
#include "storage/tables/index_attach.h"
#include "storage/tables/opening.h"
#include "storage/tables/table_descriptions.h"

using namespace vorne;

namespace {

constexpr int kMissing = 36, kEmptyName = 37, kEmptyStructure = 38, kWrongElement = 39, kNotOpened = 40;
constexpr int kNoFreeArea = 13, kNoTable = 53;
constexpr int kDateLength = 8, kMemoLength = 4, kMarkLength = 2;
// As long as a description can tell it, and with room for the memo database's suffix where there is one.
constexpr std::size_t kMostLetters = kLongestTableName, kMostLettersWithMemo = kLongestName - 2;

Obj_Node* arrayIn(Obj_Node* value) {
  Obj_Node* array = IsElementWithArray(value) ? value->objData.mSubArray : value;
  return IsArray(array) ? array : nullptr;
}

std::int32_t lengthOf(FType type, Obj_Node* given) {
  // Whatever the script gives: programs know these fields by these lengths.
  if (type == TBLDATE) return kDateLength;
  if (type == TBLMEMO) return kMemoLength;
  return IntArgument(given);
}

// One element of the structure: name, type letter, length, decimals.
ControlFieldTBL fieldOf(Obj_Node* element) {
  Obj_Node* row = arrayIn(element);
  if (row == nullptr || __Array_Get_Amnt_Itens(row) < 4) __RuntimeError(6, kWrongElement);
  const std::string name = CapitalText(__GET_ARRAY_EL(row, 0));
  const std::string letter = CapitalText(__GET_ARRAY_EL(row, 1));
  const std::optional<FType> type = letter.empty() ? std::nullopt : TypeOfLetter(letter[0]);
  if (name.empty() || name.size() > kLongestFieldName || !type) __RuntimeError(6, kWrongElement);
  const std::int32_t length = lengthOf(*type, __GET_ARRAY_EL(row, 2));
  const std::int32_t decimals = IntArgument(__GET_ARRAY_EL(row, 3));
  if (length < 0 || length > kLongestField || decimals < 0 || decimals > kLongestField)
    __RuntimeError(6, kWrongElement);
  return MakeField(name, *type, length, decimals);
}

std::vector<ControlFieldTBL> fieldsOf(Obj_Node* structure) {
  const int count = __Array_Get_Amnt_Itens(structure);
  std::vector<ControlFieldTBL> fields;
  for (int i = 0; i < count; ++i) {
    const ControlFieldTBL field = fieldOf(__GET_ARRAY_EL(structure, i));
    // What could not be read back or told apart is not written.
    if (fields.size() + 1 == kMostFields || FieldNumber(fields, field.FieldName) != 0) __RuntimeError(6, kWrongElement);
    fields.push_back(field);
  }
  fields.push_back(MakeField(kDeletionField, TBLSTRING, kMarkLength, 0));
  PlaceFields(fields);
  return fields;
}

bool hasMemo(const std::vector<ControlFieldTBL>& fields) {
  for (const ControlFieldTBL& field : fields)
    if (field.FieldType == TBLMEMO) return true;
  return false;
}

bool deleteDatabase(const char* name) {
  const LocalID id = DmFindDatabase(0, name);
  return id != 0 && DmDeleteDatabase(0, id) == errNone;
}

UInt32 recordsIn(const std::string& name) {
  return HeaderInFile(name).value_or(FileHeader{}).NumberOfRecords;
}

// Without records because a program took them out, not by damage: its description is whole, and no record lies behind
// it.
bool isSoundlyEmpty(const std::string& name) {
  const FileHeader header = HeaderInFile(name).value_or(FileHeader{});
  const std::uint64_t block = std::uint64_t{kHeaderSize} + header.AppInfoLen;
  return header.Version == 2 && header.Type == kVariableDatabase && header.NumberOfRecords == 0 &&
         header.szmap <= block + kRecordHeaderSize && ParseTableBlock(BlockInFile(name, header));
}

// Memo texts and index entries of records that the table has not may be all that is left of those: kept then, since
// nobody who lets go an empty table means them. True when there are none, or they could be.
bool keepWhatTellsOfMore(const std::string& name) {
  const UInt32 records = recordsIn(name);
  std::vector<std::string> databases = {name};
  std::vector<std::string> files = IndexesOf(name.c_str());
  bool tells = std::any_of(files.begin(), files.end(), [&](const auto& index) { return recordsIn(index) > records; });
  if (const UInt32 entry = CatalogEntryOf(name + kMemoSuffix); entry != 0 && CatalogEntryAt(entry).type == kTypeMemo) {
    // Its file has the name as the catalogue spells it, which need not be the table's letters.
    databases.emplace_back(CatalogEntryName(entry));
    // Texts are left by every pack; only those of a table that is damaged are of records that it has lost.
    tells = tells || (records == 0 && recordsIn(databases.back()) != 0 && !isSoundlyEmpty(name));
  }
  if (!tells) return true;
  for (const std::string& database : databases) {
    files.push_back(database);
    if (HasOffsetsFile(database)) files.push_back(OffsetsName(database));
  }
  Logar(Message("%s: índices ou memos de mais registros do que os seus: cópia guardada"_l1, name.c_str()).c_str());
  return KeepTogether(wcDir, files);
}

// Its indexes and memo texts go first: what is left when the process dies in between still is a table.
bool deleteTable(const std::string& name) {
  const LocalID id = DmFindDatabase(0, name.c_str());
  if (id == 0 || !IsOfType(OpenFiles[id - 1]->fOffset, kTypeData)) return false;
  // As the catalogue spells it; closing the areas may close the database.
  const std::string stored(CatalogEntryName(OpenFiles[id - 1]->fOffset));
  CloseAreasOf(OpenFiles[id - 1]);
  if (!keepWhatTellsOfMore(stored)) return false;
  DeleteIndexes(name.c_str());
  DeleteMemoDB(name.c_str());
  return deleteDatabase(name.c_str());
}

// Scripts compare aliases by the constant that names them.
Obj_Node* constantOf(Obj_Node* alias, const std::string& text) {
  if (HasText(alias) && alias->objType == vConst) return alias;
  for (int i = 0; i <= S_GLOB->LastConst; ++i) {
    Obj_Node* constant = S_GLOB->mConst[i];
    if (HasText(constant) && text == constant->objData.mbuff) return constant;
  }
  return nullptr;
}

// The alias is compared as it was passed: areas keep it in capitals.
void closeAreaWith(Obj_Node* alias, const std::string& name) {
  const char* text = HasText(alias) ? alias->objData.mbuff : name.c_str();
  for (int number = 0; number < S_GLOB->TBL_lasttable; ++number) {
    const VORNE_RDD* area = AreaAt(number);
    if (area == nullptr) continue;
    const bool sameConstant = alias != nullptr && area->TBL_constAlias == alias;
    if (sameConstant || std::strcmp(area->TBL_alias, text) == 0) __CloseTBL(number);
  }
}

}  // namespace

Obj_Node* __DBCREATE(Obj_Node* name, Obj_Node* structure, Obj_Node*) {
  if (IsMissing(name) || IsMissing(structure)) __RuntimeError(3, kMissing);
  Obj_Node* rows = arrayIn(structure);
  if (!HasText(name) || rows == nullptr) ArgumentError();
  const std::string capitals = CapitalText(name);
  if (capitals.empty() || capitals.size() > kMostLetters) __RuntimeError(6, kEmptyName);
  if (__Array_Get_Amnt_Itens(rows) < 1) __RuntimeError(6, kEmptyStructure);
  // The structure is read before anything goes: one that is no table's leaves an old table alone.
  TableDescription description;
  description.fields = fieldsOf(rows);
  description.name = capitals;
  const bool memo = hasMemo(description.fields);
  if (memo && capitals.size() > kMostLettersWithMemo) __RuntimeError(6, kEmptyName);
  if (TableBlock(description).size() > kLargestNewSpace) __RuntimeError(6, kWrongElement);
  const bool isReplaced = deleteTable(capitals);
  if (DmFindDatabase(0, capitals.c_str()) != 0) return __INIT_BOOL(0);

  const std::string memoName = capitals + kMemoSuffix;
  if (memo && DmFindDatabase(0, memoName.c_str()) != 0) __RuntimeError(3, kNotOpened);
  // Before anything makes room: a file of that name may be the offsets file of another table, which is in use.
  if (CheckNewName(capitals, true) != errNone || (memo && CheckNewName(memoName, true) != errNone))
    __RuntimeError(3, kNotOpened);
  // Told before anything is there: an error from here on takes back what has been made by then.
  const Making making(capitals);
  std::optional<Making> makingMemo;
  if (memo) makingMemo.emplace(memoName);
  // All of a table that the catalogue has lost, before the first of its files makes room.
  // Itself first: once anything is away nothing of that name is here.
  std::vector<std::string> old = {capitals};
  if (CatalogEntryOf(memoName) == 0) old.push_back(memoName);
  // Indexes that still have entries would be taken for the new one's.
  const std::vector<std::string> indexes = isReplaced ? std::vector<std::string>() : IndexesOf(capitals.c_str());
  old.insert(old.end(), indexes.begin(), indexes.end());
  const StrayIndexes strays = StrayIndexesOf(capitals);
  if (strays.error != 0 && MayHold(capitals)) CannotCreate(strays.unread.c_str(), strays.error);
  old.insert(old.end(), strays.names.begin(), strays.names.end());
  const PutAway oldTable(old);
  if (!oldTable.isDone()) CannotCreate(oldTable.failed().c_str(), errno);
  std::unique_ptr<myAppInfoType, void (*)(myAppInfoType*)> table(NewTable(description), FreeTable);
  if (__TBL_CreateOrOpen(capitals.c_str(), kTypeData, description.openMode, table.get()) == nullptr ||
      (memo && !CreateMemoDB(capitals.c_str())))
    __RuntimeError(3, kNotOpened);
  // The description last: what a kill leaves before it opens as no table, and goes when one of that name is made again.
  __TBL_CreateOrChangeMyAppInfo(table.get());
  ReleaseTable(table.release());
  // Their entries last: an error before this puts back the files that they name.
  for (const std::string& index : indexes) deleteDatabase(index.c_str());
  return __INIT_BOOL(1);
}

Obj_Node* __DBUSEAREA(Obj_Node* newArea, Obj_Node*, Obj_Node* name, Obj_Node* alias, Obj_Node*, Obj_Node*) {
  if (!HasText(name)) __RuntimeError(3, kNoTable);
  const std::string table = CapitalText(name);
  const std::string capitals = HasText(alias) ? CapitalText(alias) : table;
  closeAreaWith(alias, table);
  if (!IsTrue(newArea) && AreaAt(S_GLOB->TBL_this) != nullptr) __CloseTBL(S_GLOB->TBL_this);
  myAppInfoType* opened = __TBL_CreateOrOpen(table.c_str(), kTypeData, 3);
  if (opened == nullptr) __RuntimeError(14, kNoTable);
  const int area = OpenArea(opened, capitals, constantOf(alias, capitals));
  if (area < 0) {
    ReleaseTable(opened);
    __RuntimeError(3, kNoFreeArea);
  }
  S_GLOB->TBL_this = static_cast<std::int16_t>(area);
  OpenMemoDB(area);
  __GoTo(area, 0, 0, 1);
  return __INIT_BOOL(1);
}

Obj_Node* __TBL_DeleteDatabase(Obj_Node* name) {
  if (!HasText(name)) ArgumentError();
  return __INIT_BOOL(deleteTable(CapitalText(name)));
}
