// Fields of the current record, and what is known about them. Fields are numbered from 1 for scripts; the last one of a
// description is the deletion mark, which no script is told of. All values here are those of the area's buffer: nothing
// is stored before the record is written.
#include <cstdio>
#include <cstring>

#include "builtins/new_text.h"
#include "runtime/arguments.h"
#include "runtime/internal.h"
#include "storage/format/keys.h"
#include "storage/format/record_bytes.h"
#include "storage/tables/areas.h"

using namespace vorne;

namespace {

constexpr int kWrongValue = 23, kUnknownNumber = 26, kUnknownName = 27;
constexpr int kNoName = 28, kNoArea = 29;
constexpr int kUnreadableType = 8;

// The number of the field that a script means, by name or number.
int fieldIn(const VORNE_RDD& area, int number, Obj_Node* field) {
  if (HasText(field)) {
    const int found = __GetFieldPos(number, field->objData.mbuff);
    if (found == 0) __RuntimeError(3, kUnknownName);
    return found;
  }
  const int given = IntArgument(field);
  if (given < 1 || given > static_cast<int>(FieldsOf(area).size())) __RuntimeError(3, kUnknownNumber);
  return given;
}

const ControlFieldTBL& described(Obj_Node* alias, Obj_Node* field) {
  const int number = AreaNumber(alias);
  const VORNE_RDD& area = *AreaAt(number);
  return FieldsOf(area)[static_cast<std::size_t>(fieldIn(area, number, field) - 1)];
}

Obj_Node* letterOf(const ControlFieldTBL& field) {
  const char letter = TypeLetter(field.FieldType);
  return MakeText({&letter, 1});
}

// An index is looked after at the next writing only if one of its key's fields was set.
void noteChange(VORNE_RDD& area, int field) {
  area.TBL_fieldchanged = 1;
  area.TBL_lasfield = field;
  for (std::uint32_t i = 0; i < area.TBL_appinfo->TBL_numIndexes; ++i) {
    IDX_IndexesNames& index = *area.TBL_appinfo->TBL_IndexesNames[i];
    for (const IDX_Indexes& key : KeyFieldsOf(index)) index.IDX_fieldchanged |= static_cast<int>(key.KeyField) == field;
  }
}

void setText(const ControlFieldTBL& field, const Obj_Node* value, char* buffer) {
  char* at = buffer + field.iOffset;
  const auto room = static_cast<std::size_t>(BufferRoom(field));
  // What is longer than the field is cut, without an error.
  const std::size_t length = ::strnlen(value->objData.mbuff, static_cast<std::size_t>(field.FieldLen));
  std::memcpy(at, value->objData.mbuff, length);
  std::memset(at + length, 0, room - length);
}

bool setMemo(int number, int field, const Obj_Node* value) {
  // With its zero, which is stored.
  const std::size_t length = std::strlen(value->objData.mbuff) + 1;
  return length <= kLargestRecord && WriteMemo(number, field, value->objData.mbuff, static_cast<int>(length)) == 1;
}

// False for a value of another type than the field's.
bool setValue(int number, VORNE_RDD& area, int position, const Obj_Node* value) {
  const ControlFieldTBL& field = FieldsOf(area)[static_cast<std::size_t>(position - 1)];
  char* at = area.TBL_buff + field.iOffset;
  switch (field.FieldType) {
    case TBLNUM:
      if (!IsNumber(value)) return false;
      Store(at, value->objData.mdbl);
      return true;
    case TBLDATE:
      if (!IsDate(value)) return false;
      Store(at, value->objData.mdt);
      return true;
    case TBLBOOL:
      if (!IsLogical(value)) return false;
      *at = value->objData.mbool != 0;
      return true;
    case TBLMEMO:
      return HasText(value) && setMemo(number, position, value);
    default:
      if (!HasText(value)) return false;
      setText(field, value, area.TBL_buff);
      return true;
  }
}

}  // namespace

int __GetFieldPos(int area, const char* name) {
  if (name == nullptr) __RuntimeError(3, kNoName);
  const VORNE_RDD* found = AreaAt(area);
  if (found == nullptr) __RuntimeError(3, kNoArea);
  return static_cast<int>(FieldNumber(FieldsOf(*found), name));
}

Obj_Node* __GetFieldByID(int number, int field) {
  const VORNE_RDD* area = AreaAt(number);
  if (area == nullptr || field < 1 || field > static_cast<int>(FieldsOf(*area).size()))
    __RuntimeError(3, kUnknownNumber);
  const ControlFieldTBL& found = FieldsOf(*area)[static_cast<std::size_t>(field - 1)];
  switch (found.FieldType) {
    case TBLNUM:
      return __INIT_DOUBLE(NumberIn(found, area->TBL_buff));
    case TBLDATE:
      return __INIT_DATE(NumberIn(found, area->TBL_buff));
    case TBLBOOL:
      return __INIT_BOOL(LogicalIn(found, area->TBL_buff));
    case TBLMEMO:
      return ReadMemo(number, field);
    case TBLSTRING:
    case TBLINTEGER:
    case TBLBINARY:
      return MakeText(TextIn(found, area->TBL_buff));
  }
  __RuntimeError(3, kUnreadableType);
}

Obj_Node* __GetFieldByName(int area, const char* name) {
  const int field = __GetFieldPos(area, name);
  if (field < 1) __RuntimeError(3, kUnknownName);
  return __GetFieldByID(area, field);
}

Obj_Node* __GetField(Obj_Node* alias, Obj_Node* field) {
  const int number = AreaNumber(alias);
  return __GetFieldByID(number, fieldIn(*AreaAt(number), number, field));
}

Obj_Node* __GetFieldContent(Obj_Node* alias, Obj_Node* field) {
  const int number = AreaNumber(alias);
  const VORNE_RDD& area = *AreaAt(number);
  const int position = fieldIn(area, number, field);
  const ControlFieldTBL& found = FieldsOf(area)[static_cast<std::size_t>(position - 1)];
  switch (found.FieldType) {
    case TBLNUM: {
      const std::string text = NumberKey(found, NumberIn(found, area.TBL_buff));
      return MakeText(std::string_view(text).substr(std::min(text.find_first_not_of(' '), text.size())));
    }
    case TBLDATE:
      return MakeText(DateKey(NumberIn(found, area.TBL_buff)));
    case TBLBOOL:
      return MakeText(LogicalIn(found, area.TBL_buff) ? "T" : "F");
    default:
      return __GetFieldByID(number, position);
  }
}

Obj_Node* __SetField(Obj_Node* alias, Obj_Node* field, Obj_Node* value) {
  const int number = AreaNumber(alias);
  VORNE_RDD& area = *AreaAt(number);
  const int position = fieldIn(area, number, field);
  if (value == nullptr || !setValue(number, area, position, value)) __RuntimeError(3, kWrongValue);
  noteChange(area, position);
  return __INIT_BOOL(1);
}

Obj_Node* __FieldType(Obj_Node* alias, Obj_Node* field) {
  return letterOf(described(alias, field));
}

Obj_Node* __FieldLen(Obj_Node* alias, Obj_Node* field) {
  return __INIT_DOUBLE(described(alias, field).FieldLen);
}

Obj_Node* __FieldDecLen(Obj_Node* alias, Obj_Node* field) {
  return __INIT_DOUBLE(described(alias, field).FieldDecLen);
}

Obj_Node* __GetFieldName(Obj_Node* alias, Obj_Node* field) {
  return MakeText(described(alias, field).FieldName);
}

Obj_Node* __GetFieldAttribute(Obj_Node* alias, Obj_Node* field, Obj_Node* attribute) {
  using Query = Obj_Node* (*)(Obj_Node*, Obj_Node*);
  // By the attribute's number, from 1.
  constexpr Query kQueries[] = {__GetFieldName, __FieldType, __FieldLen, __FieldDecLen};
  const int number = IntArgument(attribute);
  return number < 1 || number > static_cast<int>(std::size(kQueries)) ? __INIT_NIL()
                                                                      : kQueries[number - 1](alias, field);
}

Obj_Node* __DBStruct(Obj_Node* alias) {
  const Fields fields = FieldsOf(AreaOf(alias));
  Obj_Node* rows = __Array(__INIT_DOUBLE(0), nullptr);
  for (const ControlFieldTBL& field : fields.first(fields.size() - 1))
    __AAdd(rows, __CreateArray(MakeText(field.FieldName), letterOf(field), __INIT_DOUBLE(field.FieldLen),
                               __INIT_DOUBLE(field.FieldDecLen), __INIT_NUL()));
  return rows;
}

Obj_Node* __TBL_Deleted(Obj_Node* alias) {
  constexpr int kSubcode = 17;
  const VORNE_RDD& area = AreaOf(alias, 3, kSubcode);
  return __INIT_BOOL(IsMarkedDeleted(FieldsOf(area), area.TBL_buff));
}

namespace {

Obj_Node* mark(Obj_Node* alias, bool deleted, int subcode) {
  VORNE_RDD& area = AreaOf(alias, 3, subcode);
  MarkDeleted(FieldsOf(area), area.TBL_buff, deleted);
  area.TBL_fieldchanged = 1;
  return __INIT_NIL();
}

}  // namespace

Obj_Node* __TBL_Delete(Obj_Node* alias) {
  constexpr int kSubcode = 16;
  return mark(alias, true, kSubcode);
}

Obj_Node* __TBL_Recall(Obj_Node* alias) {
  constexpr int kSubcode = 19;
  return mark(alias, false, kSubcode);
}
