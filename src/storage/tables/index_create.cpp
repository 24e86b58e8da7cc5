// Making, dropping and rebuilding the indexes of an area's table. An index is a database of its own. Whatever is made
// or dropped here is made known to every area that has the table open, since they all keep their own list.
#include <algorithm>
#include <cctype>

#include "runtime/arguments.h"
#include "storage/files/diagnostic_log.h"
#include "storage/format/keys.h"
#include "storage/format/names.h"
#include "storage/tables/index_attach.h"
#include "storage/tables/opening.h"
#include "storage/tables/table_descriptions.h"
#include "storage/tables/write.h"

using namespace vorne;

namespace {

constexpr int kDropNoName = 42, kDropEmptyName = 43;
constexpr int kNoExpression = 44, kUnknownField = 45, kNoName = 46, kBadName = 47, kNoTerms = 48, kNotMade = 49,
              kKeyTooLong = 51;
constexpr int kCannotBeKey = 19;
constexpr char kNoIndexName[] = "INVALID_INDEX";
constexpr UInt16 kReadWrite = 3;

// Terms mean the same in any letters and however they are spaced.
std::string condensed(std::string_view expression) {
  std::string text;
  for (const char c : expression)
    if (!std::isspace(static_cast<unsigned char>(c))) text += c;
  return FoldedName(text);
}

// The parts between the "+" that stand outside of brackets.
std::vector<std::string> termsOf(const std::string& expression) {
  std::vector<std::string> terms(1);
  int depth = 0;
  for (const char c : expression) {
    depth += (c == '(') - (c == ')');
    if (c == '+' && depth == 0)
      terms.emplace_back();
    else
      terms.back() += c;
  }
  return terms;
}

// A key holds numbers and dates as the texts that STR and DTOS make of them anyway.
std::string_view fieldIn(std::string_view term) {
  struct Wrapper {
    std::string_view start;
    bool hasMore;  // arguments behind the field
  };
  for (const Wrapper& wrapper : {Wrapper{"STR(", true}, Wrapper{"DTOS(", false}}) {
    if (!term.starts_with(wrapper.start) || !term.ends_with(')')) continue;
    const std::string_view inner = term.substr(wrapper.start.size(), term.size() - wrapper.start.size() - 1);
    return wrapper.hasMore ? inner.substr(0, inner.find(',')) : inner;
  }
  return term;
}

std::vector<std::uint32_t> keyFieldsOf(Fields fields, std::string_view expression) {
  const std::string text = condensed(expression);
  if (text.empty()) __RuntimeError(3, kNoTerms);
  std::vector<std::uint32_t> key;
  for (const std::string& term : termsOf(text)) {
    // The deletion mark changes without its record being written, so that it can be no key.
    const std::uint32_t field = FieldNumber(fields.first(fields.size() - 1), fieldIn(term));
    if (field == 0) __RuntimeError(3, kUnknownField);
    if (KeyRoom(fields[field - 1]) == 0) __RuntimeError(3, kCannotBeKey);
    key.push_back(field);
  }
  return key;
}

std::vector<IDX_Indexes> keyOf(const std::uint32_t* keyFields, int count) {
  std::vector<IDX_Indexes> key;
  for (int i = 0; i < count; ++i) key.push_back({keyFields[i]});
  return key;
}

// An index database whose making was interrupted belongs to nobody: its block says nothing yet, or is not there.
bool deleteUnfinished(const char* name) {
  const LocalID id = DmFindDatabase(0, name);
  DmOpenRef db = id == 0 ? nullptr : DmOpenDatabase(0, id, kReadWrite);
  if (db == nullptr) return false;
  const bool unfinished =
      db->Head.Type == kIndexDatabase && DmNumRecords(db) == 0 && db->opens == 1 && !ParseIndexBlock(BlockOf(db));
  DmCloseDatabase(db);
  return unfinished && DmDeleteDatabase(0, DmFindDatabase(0, name)) == errNone;
}

DmOpenRef makeDatabase(const char* name) {
  return DmCreateDatabase(0, name, 0, kTypeIndex, 0) == errNone ? DmOpenDatabase(0, DmFindDatabase(0, name), kReadWrite)
                                                                : nullptr;
}

// Orders above the one that goes move down.
void leaveOrder(VORNE_RDD& area, int index) {
  if (area.TBL_Index == index)
    area.TBL_Index = -1;
  else if (area.TBL_Index > index)
    --area.TBL_Index;
}

// An index of the table that no area has.
bool isLeftOut(const myAppInfoType& table, const std::string& capitals) {
  const std::vector<std::string> names = IndexesOf(table.TBL_name);
  return std::any_of(names.begin(), names.end(), [&](const std::string& name) { return FoldedName(name) == capitals; });
}

// What was left out for want of space is opened for every area, or the want is told.
void attachLeftOut(const myAppInfoType& table) {
  for (const std::string& name : IndexesOf(table.TBL_name))
    ForEachAreaOf(table.TBL_dbRef, [&](int number, VORNE_RDD& area) {
      if (__GetIdxInd(number, FoldedName(name).c_str()) >= 0 || AttachIndex(*area.TBL_appinfo, name) >= 0) return;
      if (const std::string why = WhyLeftOut(name); !why.empty()) StorageFailure(why.c_str());
    });
}

}  // namespace

int __TrataCriaIndice(int number, const char* name, const std::uint32_t* keyFields, int count) {
  VORNE_RDD* area = AreaAt(number);
  if (area == nullptr || name == nullptr || keyFields == nullptr || count < 1) return 0;
  myAppInfoType& table = *area->TBL_appinfo;
  const std::string capitals = FoldedName(name);
  const std::vector<IDX_Indexes> key = keyOf(keyFields, count);
  if (count > static_cast<int>(kMostFields) || KeyRoom(FieldsOf(table), key) == 0) return 0;
  WritePending(number);
  if (DmFindDatabase(0, capitals.c_str()) != 0 && !deleteUnfinished(capitals.c_str())) return 0;
  const Making making(capitals);
  DmOpenRef db = makeDatabase(capitals.c_str());
  if (db == nullptr) return 0;
  ForgetOwner(db);
  const int index = AddIndex(table, capitals.c_str(), db, key);
  __TBL_CreateOrChangeMyAppInfo(&table);
  // The block before the entries: killed between the two, it is an index with too few of them, which the next opening
  // makes anew. Without a block it would be nobody's.
  PopulateIndex(number, index);
  ForEachAreaOf(table.TBL_dbRef, [&](int other, VORNE_RDD& shared) {
    if (other != number && __GetIdxInd(other, capitals.c_str()) < 0) AttachIndex(*shared.TBL_appinfo, capitals);
  });
  return 1;
}

Obj_Node* __DBCREATEINDEX(Obj_Node* name, Obj_Node* expression, Obj_Node* alias) {
  const int number = AreaNumber(alias);
  if (IsMissing(name)) __RuntimeError(3, kNoName);
  if (IsMissing(expression)) __RuntimeError(3, kNoExpression);
  const std::string_view terms = TextArgument(expression).shown;
  if (!HasText(name)) ArgumentError();
  const std::string capitals = CapitalText(name);
  if (capitals.empty() || capitals.size() > kLongestTableName) __RuntimeError(3, kBadName);
  if (capitals == kNoIndexName) return __INIT_BOOL(0);
  VORNE_RDD& area = *AreaAt(number);
  const std::vector<std::uint32_t> fields = keyFieldsOf(FieldsOf(area), terms);
  const auto count = static_cast<int>(fields.size());
  if (count > static_cast<int>(kMostFields) || KeyRoom(FieldsOf(area), keyOf(fields.data(), count)) == 0)
    __RuntimeError(3, kKeyTooLong);
  if (!__TrataCriaIndice(number, capitals.c_str(), fields.data(), count)) __RuntimeError(3, kNotMade);
  area.TBL_Index = __GetIdxInd(number, capitals.c_str());
  Resync(number);
  return __INIT_BOOL(1);
}

Obj_Node* __DBDROPINDEX(Obj_Node* name, Obj_Node* alias) {
  const int number = AreaNumber(alias);
  if (IsMissing(name)) __RuntimeError(3, kDropNoName);
  if (!HasText(name)) ArgumentError();
  const std::string capitals = CapitalText(name);
  if (capitals.empty()) __RuntimeError(3, kDropEmptyName);
  myAppInfoType& table = *AreaAt(number)->TBL_appinfo;
  // One that was left out, for want of space most of all, goes like any other.
  if (__GetIdxInd(number, capitals.c_str()) < 0 && !isLeftOut(table, capitals)) return __INIT_BOOL(0);
  // Every area lets go of it first: deleting a database closes the areas that still have it.
  ForEachAreaOf(table.TBL_dbRef, [&](int other, VORNE_RDD& area) {
    const int index = __GetIdxInd(other, capitals.c_str());
    if (index < 0) return;
    DetachIndex(*area.TBL_appinfo, index);
    leaveOrder(area, index);
  });
  const bool deleted = DmDeleteDatabase(0, DmFindDatabase(0, capitals.c_str())) == errNone;
  __TBL_CreateOrChangeMyAppInfo(&table);
  return __INIT_BOOL(deleted);
}

int PopulateIndex(int number, int index) {
  VORNE_RDD* area = AreaAt(number);
  IDX_IndexesNames* entry = area == nullptr ? nullptr : IndexAt(*area, index);
  return entry != nullptr && RebuildIndex(*area->TBL_appinfo, *entry);
}

Obj_Node* __Reindex(Obj_Node* alias) {
  const int number = AreaNumber(alias);
  WritePending(number);
  attachLeftOut(*AreaAt(number)->TBL_appinfo);
  RebuildIndexes(*AreaAt(number)->TBL_appinfo);
  Resync(number);
  return __INIT_NIL();
}
