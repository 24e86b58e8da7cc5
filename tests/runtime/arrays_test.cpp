// Array operations by tables, with the odd ranges that scripts count on, and what sorting, nesting and cycles do.
#include <cmath>
#include <limits>

#include "values.h"

namespace {

class ArrayTest : public RuntimeTest {};

Obj_Node* n(double v) {
  return number(v);
}

void expectArray(Obj_Node* a, const std::string& described) {
  EXPECT_EQ(describe(a), described);
  const Obj_Node* last = a->objData.mArray->pLast;
  EXPECT_TRUE(last == nullptr || last->objpNext == nullptr);
}

TEST_F(ArrayTest, ChangesInPlace) {
  const struct {
    const char* name;
    Obj_Node* (*run)(Obj_Node*, Obj_Node*);
    const char* table;  // before, argument, after
  } operations[] = {
      {"AAdd", __AAdd, "{} 1 {1}  {1} 'x' {1,'x'}  {1} NIL {1,NIL}  {1} {2} {1,{2}}  {1} NUL {1,NUL}"},
      {"ASize", __ASize,
       "{} 5 {}  {1,2,3} 5 {1,2,3,NIL,NIL}  {1,'b',{3},4,5} 2 {1,'b'}  {1,2} 2 {1,2}  {1,{2}} 0 {}  {1,2} -3 {}"},
      {"ADel", __ADel,
       "{1,2,3} 1 {2,3,NIL}  {1,2,3} 3 {1,2,NIL}  {'x',{2},3} 2 {'x',3,{}}  {1} 1 {NIL}  {1,2} 0 {1,2}  {1,2} 3 {1,2}"},
      {"AIns", __AIns,
       "{1,2,3} 1 {NIL,1,2}  {1,2,3} 2 {1,NIL,2}  {1,2,'x'} 3 {1,2,NIL}  {1,2,{3}} 1 {NIL,1,2}  {1} 1 {NIL}  "
       "{1,2} 0 {1,2}  {1,2} 3 {1,2}  {} 1 {}"},
      {"DelEl", [](Obj_Node* a, Obj_Node* i) { return __DelEl(a, ToInt(numberOf(i)), 0); },
       "{1,2,3} 2 {1,3}  {1,2} 2 {1}  {1} 1 {}  {1} 2 {1}"},
      {"SET_ARRAY_EL", [](Obj_Node* a, Obj_Node* v) { return __SET_ARRAY_EL(a, v, 0) == 1 ? a : nullptr; },
       "{{7},2} 1 {1,2}  {'x',2} {7} {{7},2}  {{7}} {8} {{8}}  {1} 'y' {'y'}"},
  };
  for (const auto& operation : operations) {
    for (const auto& row : rows(operation.table, 3)) {
      SCOPED_TRACE(std::string(operation.name) + " " + row[0] + " " + row[1]);
      Obj_Node* a = value(row[0]);
      EXPECT_EQ(operation.run(a, value(row[1])), a);
      expectArray(a, row[2]);
      expectArray(__AAdd(a, n(9)), row[2] == "{}" ? "{9}" : row[2].substr(0, row[2].size() - 1) + ",9}");
    }
  }
}

TEST_F(ArrayTest, Filling) {
  const char* table =  // value, start, count, after
      "0 1 5 {0,0,3,4,5}  0 - 0 {0,0,3,4,5}  0 -4 -1 {0,0,3,4,5}  0 2 5 {1,0,0,4,5}  0 1 20 {0,0,0,0,0}  "
      "'xy' 1 6 {'xy','xy','xy',4,5}  {7} 1 5 {{7},{7},3,4,5}  NIL 1 2 {NIL,2,3,4,5}  0 9 9 {1,2,3,4,5}";
  for (const auto& row : rows(table, 4)) {
    expectArray(__AFill(value("{1,2,3,4,5}"), value(row[0]), value(row[1]), value(row[2])), row[3]);
  }
}

TEST_F(ArrayTest, Copying) {
  const char* table =  // start, count, target, after
      "- - - {9,1,9,9,9}  1 4 0 {1,2,3,4,9}  2 3 1 {9,2,3,9,9}  2 NIL NIL {9,2,3,4,9}  NIL 99 3 {9,9,9,1,9}  "
      "5 9 0 {9,9,9,9,9}  1 4 4 {9,9,9,9,9}  -5 2 -5 {1,2,9,9,9}";
  Obj_Node* src = value("{1,2,3,4}");
  for (const auto& row : rows(table, 4)) {
    expectArray(__ACopy(src, value("{9,9,9,9,9}"), value(row[0]), value(row[1]), value(row[2])), row[3]);
  }
  Obj_Node* same = value("{'a','b',{1},4}");
  expectArray(__ACopy(same, same, n(1), n(4), n(1)), "{'a','a','a',4}");
  expectArray(__ACopy(value("{1}"), value("{}")), "{}");
}

TEST_F(ArrayTest, Searching) {
  const char* table =  // array, value, start, count, column, position
      "{1,2,3,2} 2 - - - 2  {1,2,3,2} 2 3 - - 4  {1,2,3,2} 2 3 3 - 0  {1,2,3,2} 2 3 9 - 4  {1,2,3,2} 2 5 - - 0  "
      "{1,2,3} 9 - - - 0  {'ab','a'} 'a' - - - 2  {F,T} T - - - 2  {d1,d2} d2 - - - 2  {} 1 - - - 0  {1,'x'} NIL - - - "
      "0  "
      "{1} - - - - 0  {{1,'b'},{2,'a'}} 2 - - - 2  {{1,'b'},{2,'a'}} 'a' - - 2 2  {{1},{},{2,5}} 5 - - 2 3  "
      "{1,2} 2 -7 -7 - 2  {1,2} {1} - - - 0";
  for (const auto& row : rows(table, 6)) {
    Obj_Node* found = __AScan(value(row[0]), value(row[1]), value(row[2]), value(row[3]), value(row[4]));
    EXPECT_EQ(describe(found), row[5]) << row[1] << " in " << row[0];
  }
  EXPECT_RUNTIME_ERROR(__AScan(value("{1,'x'}"), text("x")), -1);
  EXPECT_RUNTIME_ERROR(__AScan(value("{NIL,1}"), n(1)), -1);
}

TEST_F(ArrayTest, Sorting) {
  const char* table =  // before, start, count, ascending, column, after
      "{3,1,2} - - - - {1,2,3}  {3,1,2} - - F - {3,2,1}  {5,4,3,2,1} 2 4 T - {5,2,3,4,1}  {5,4,3,2,1} 3 - - - "
      "{5,4,1,2,3}  "
      "{2,1} - 1 - - {2,1}  {2,1} - 99 - - {1,2}  {2,1} 9 - - - {2,1}  {} - - - - {}  {T,F,T,F} - - T - {F,F,T,T}  "
      "{{2,'a'},{1,'b'}} - - - - {{1,'b'},{2,'a'}}  {{1,'b'},{2,'a'}} - - - 2 {{2,'a'},{1,'b'}}  {{2},{1}} - - - 2 "
      "{{2},{1}}";
  for (const auto& row : rows(table, 6)) {
    expectArray(__ASORT(value(row[0]), value(row[1]), value(row[2]), value(row[3]), value(row[4])), row[5]);
  }
  EXPECT_RUNTIME_ERROR(__ASORT(value("{1,'x'}")), -1);
  EXPECT_RUNTIME_ERROR(__ASORT(value("{NIL,NIL}")), -1);
  for (short ascending : {0, 1}) {  // these orders are none, but the passes end
    for (const char* odd : {"{3,nan,1,2,nan,0}", "{F,T,F,T}"}) {
      Obj_Node* a = value(odd);
      EXPECT_EQ(__ASORT(a, nullptr, nullptr, __INIT_BOOL(ascending)), a);
    }
  }
}

TEST_F(ArrayTest, SortedTextsKeepTheLengthFieldsOfTheirPlaces) {
  SetCheckBuffer(1);
  Obj_Node* a = __ASORT(value("{'a-long-text-at-first','b','','mid-size'}"));
  const char* order[] = {"", "a-long-text-at-first", "b", "mid-size"};
  const int lengths[] = {21, 2, 1, 9};
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(visible(__GET_ARRAY_EL(a, i)), order[i]);
    EXPECT_EQ(__GET_ARRAY_EL(a, i)->objLength, lengths[i]);
  }
  Obj_Node* copy = __AClone(a);  // by length: no byte beyond a buffer may be read
  EXPECT_EQ(bytes(__GET_ARRAY_EL(copy, 0)), std::string(20, '\0'));
  EXPECT_EQ(bytes(__GET_ARRAY_EL(copy, 1)), "a");
  __ASORT(copy, nullptr, nullptr, __INIT_BOOL(0));
  for (int i = 0; i < 4; ++i) bytes(variable(__GET_ARRAY_EL(__CopyArray(copy), i)));
}

TEST_F(ArrayTest, Comparing) {
  const char* table = "1 2 -1  2 1 1  nan 1 -1  'a' '\xE9' -1  d5 d5 0  F T 1  T T 0  - 1 -1  1 - -1";
  for (const auto& row : rows(table, 3)) {
    EXPECT_EQ(std::to_string(__Comp(value(row[0]), value(row[1]))), row[2]) << row[0] << " and " << row[1];
  }
  EXPECT_RUNTIME_ERROR(__Comp(n(1), __INIT_DATE(1)), -1);
  EXPECT_RUNTIME_ERROR(__Comp(__INIT_NIL(), __INIT_NIL()), -1);
}

TEST_F(ArrayTest, Access) {
  Obj_Node* a = value("{1,{'b',{3}}}");
  EXPECT_EQ(describe(__ARRAY_EL(a, n(2), n(2), n(1), __INIT_NUL())), "3");
  EXPECT_EQ(describe(__ARRAY_EL(a, n(1), n(9), n(9), __INIT_NUL())), "1");  // ends at the first scalar
  EXPECT_EQ(__GET_ARRAY_EL(a, 1)->objType, vArray);
  EXPECT_EQ(__GET_OBJ_ARRAY_EL(a, 1)->objType, vElArray);
  EXPECT_EQ(describe(__Array_Get_Item(a, n(1.9))), "1");
  EXPECT_EQ(__ATail(a), __GET_ARRAY_EL(a, 1));
  EXPECT_EQ(__ATail(value("{}")), nullptr);
  EXPECT_EQ(__Array_Get_Amnt_Itens(a), 2);
  for (double outside : {0.0, 3.0, -1.0, 1e300, std::numeric_limits<double>::quiet_NaN()})
    EXPECT_RUNTIME_ERROR(__Array_Get_Item(a, n(outside)), -1) << outside;
  EXPECT_RUNTIME_ERROR(__GET_ARRAY_EL(a, 2), -1);
  EXPECT_RUNTIME_ERROR(__SET_ARRAY_EL(a, n(1), -1), -1);
  EXPECT_RUNTIME_ERROR(__SET_ARRAY_EL(a, nullptr, 0), -1);
  EXPECT_RUNTIME_ERROR(__ARRAY_EL(a, text("1"), __INIT_NUL()), -1);
}

TEST_F(ArrayTest, Making) {
  expectArray(__CreateArray(__INIT_NUL()), "{}");
  expectArray(__CreateArray(n(1), text("x"), value("{2}"), __INIT_NIL(), __INIT_NUL()), "{1,'x',{2},NIL}");
  expectArray(__Array(n(2), __INIT_NUL()), "{NIL,NIL}");
  expectArray(__Array(n(2), n(1), n(2), __INIT_NUL()), "{{{NIL,NIL}},{{NIL,NIL}}}");
  expectArray(__Array(n(0), n(3), __INIT_NUL()), "{}");
  EXPECT_RUNTIME_ERROR(__CreateArray(n(1), nullptr), -1);
  EXPECT_RUNTIME_ERROR(__Array(n(1), text("2"), __INIT_NUL()), -1);
}

TEST_F(ArrayTest, SharedAndCloned) {
  Obj_Node* row = value("{1}");
  Obj_Node* a = __AAdd(__AAdd(value("{}"), row), row);
  EXPECT_EQ(row->objRefCount, 2);
  __AAdd(row, n(2));
  Obj_Node* copy = __CopyArray(a);
  Obj_Node* clone = __AClone(a);
  EXPECT_EQ(row->objRefCount, 4);
  __SET_ARRAY_EL(__GET_ARRAY_EL(a, 1), text("seen"), 0);
  expectArray(__AAdd(a, __GET_OBJ_ARRAY_EL(a, 0)), "{{'seen',2},{'seen',2},{'seen',2}}");
  expectArray(copy, "{{'seen',2},{'seen',2}}");
  expectArray(clone, "{{1,2},{1,2}}");
  expectArray(__AClone(value("{{}}")), "{{}}");
  for (const char* none : {"{}", "1", "-"}) EXPECT_EQ(__AClone(value(none)), nullptr);
}

TEST_F(ArrayTest, ArraysThatHoldThemselves) {
  __begin_context();
  Obj_Node* a = value("{0}");
  __AAdd(a, a);
  EXPECT_RUNTIME_ERROR(__AClone(a), -1);
  SetArrayContext(a, 1);
  EXPECT_EQ(a->objContext, 1);
  expectArray(__ADel(a, n(2)), "{0,{}}");
  __SET_ARRAY_EL(a, a, 0);
  __SET_ARRAY_EL(a, n(5), 0);
  __SET_ARRAY_EL(a, a, 1);
  expectArray(__AIns(a, n(1)), "{NIL,5}");
  __AAdd(a, a);
  expectArray(__ASize(a, n(0)), "{}");
  Obj_Node* b = value("{1}");  // two that hold each other, one of them let go and taken back
  Obj_Node* c = value("{2}");
  __AAdd(b, c);
  __AAdd(c, b);
  __SET_ARRAY_EL(b, n(3), 1);
  expectArray(c, "{2,{1,3}}");
  __AAdd(b, c);
  __end_context(nullptr);  // the cycle stays; the end of the run frees it
}

TEST_F(ArrayTest, LimitsAndDepth) {
  Obj_Node* full = __ASize(value("{1}"), n(32767));
  EXPECT_EQ(__Array_Get_Amnt_Itens(__ADel(full, n(1))), 32767);
  EXPECT_RUNTIME_ERROR(__AAdd(full, n(1)), -1);
  EXPECT_RUNTIME_ERROR(__ASize(full, n(32768)), -1);
  Obj_Node* shared = value("{}");
  Obj_Node* holder = value("{}");
  for (int i = 0; i < 32767; ++i) __AAdd(holder, shared);
  EXPECT_RUNTIME_ERROR(__AAdd(value("{}"), shared), -1);  // no holder more than its count can tell
  __begin_context();
  Obj_Node* deep = value("{}");
  for (int i = 0; i < 64; ++i) deep = __CreateArray(deep, __INIT_NUL());
  EXPECT_NE(__AClone(deep), nullptr);
  EXPECT_RUNTIME_ERROR(__AClone(__CreateArray(deep, __INIT_NUL())), -1);
  for (int i = 0; i < 20000; ++i) deep = __CreateArray(deep, __INIT_NUL());
  __end_context(nullptr);
  EXPECT_EQ(liveArrays(), 3);
}

TEST_F(ArrayTest, OnlyArraysAreAccepted) {
  Obj_Node* array = value("{1}");
  Obj_Node* element = __GET_OBJ_ARRAY_EL(value("{{1}}"), 0);
  for (auto* operation : {&__AAdd, &__ASize, &__ADel, &__AIns, &__Array_Get_Item}) {
    for (Obj_Node* wrong : {value("-"), n(1), element}) EXPECT_RUNTIME_ERROR(operation(wrong, n(1)), -1);
    EXPECT_RUNTIME_ERROR(operation(array, nullptr), -1);
  }
  EXPECT_RUNTIME_ERROR(__ASize(array, text("2")), -1);
  EXPECT_RUNTIME_ERROR(__AFill(element, n(1), n(1), n(1)), -1);
  EXPECT_RUNTIME_ERROR(__AFill(array, nullptr, n(1), n(1)), -1);
  EXPECT_RUNTIME_ERROR(__AFill(array, n(1), n(1), nullptr), -1);
  EXPECT_RUNTIME_ERROR(__ACopy(array, element), -1);
  EXPECT_RUNTIME_ERROR(__ACopy(nullptr, array), -1);
  EXPECT_RUNTIME_ERROR(__AScan(element, n(1)), -1);
  EXPECT_RUNTIME_ERROR(__ARRAY_EL(element, n(1), __INIT_NUL()), -1);
  for (auto* operation : {&__ATail, &__CopyArray}) EXPECT_RUNTIME_ERROR(operation(n(1)), -1);
  EXPECT_RUNTIME_ERROR(__ASORT(nullptr), -1);
  EXPECT_RUNTIME_ERROR(__Array_Get_Amnt_Itens(n(1)), -1);
}

}  // namespace
