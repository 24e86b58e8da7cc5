// Array operations by tables, with the odd ranges that scripts count on, and what sorting, nesting and cycles do.
#include <random>

#include "values.h"

namespace {

class ArrayTest : public RuntimeTest {};

constexpr auto* n = &number;

TEST_F(ArrayTest, ChangesInPlace) {
  expectAll(__AAdd, "{} 1 {1}  {1} 'x' {1,'x'}  {1} NIL {1,NIL}  {1} {2} {1,{2}}  {1} NUL {1,NUL}");
  expectAll(__ASize,
            "{} 5 {}  {1,2,3} 5 {1,2,3,NIL,NIL}  {1,'b',{3},4,5} 2 {1,'b'}  {1,2} 2 {1,2}  {1,{2}} 0 {}  {1,2} -3 {}  "
            "{1} '2' error");
  expectAll(
      __ADel,
      "{1,2,3} 1 {2,3,NIL}  {1,2,3} 3 {1,2,NIL}  {'x',{2},3} 2 {'x',3,{}}  {1} 1 {NIL}  {1,2} 0 {1,2}  {1,2} 3 {1,2}");
  expectAll(__AIns,
            "{1,2,3} 1 {NIL,1,2}  {1,2,'x'} 3 {1,2,NIL}  {1,2,{3}} 1 {NIL,1,2}  {1} 1 {NIL}  {1,2} 0 {1,2}  "
            "{1,2} 3 {1,2}  {} 1 {}");
  expectAll(
      +[](Obj_Node* a, Obj_Node* i) { return __DelEl(a, ToInt(numberOf(i)), 0); },
      "{1,2,3} 2 {1,3}  {1,2} 2 {1}  {1} 1 {}  {1} 2 {1}");
  expectAll(
      +[](Obj_Node* a, Obj_Node* v) { return __SET_ARRAY_EL(a, v, 0) == 1 ? a : nullptr; },
      "{{7},2} 1 {1,2}  {'x',2} {7} {{7},2}  {{7}} {8} {{8}}  {1} 'y' {'y'}  {1} - error");
  for (auto* op : {&__AAdd, &__ASize, &__ADel, &__AIns, &__Array_Get_Item})
    expectAll(op, "- 1 error  1 1 error  e{1} 1 error  {1} - error");
}

TEST_F(ArrayTest, ElementsOneByOne) {
  Obj_Node* array = value("{1}");
  const Obj_Node* added = __NewArrayElement(array, value("{7,'x'}"));
  EXPECT_EQ(added, __GET_OBJ_ARRAY_EL(array, 1));
  EXPECT_RUNTIME_ERROR(__NewArrayElement(array, nullptr), -1);
  __begin_context();
  Obj_Node* kept = value("{'own',{2}}");
  EXPECT_EQ(__KillArrayEl(array->objData.mArray), 0);
  EXPECT_EQ(describe(array), "{1,{7,'x'}}");  // older than the context
  EXPECT_EQ(__KillArrayEl(kept->objData.mArray), 1);
  EXPECT_TRUE(describe(kept) == "{}" && live(vArray) == 3);
  __end_context(nullptr);
}

TEST_F(ArrayTest, FillingAndCopying) {
  expectAll(
      +[](Obj_Node* v, Obj_Node* from, Obj_Node* to) { return __AFill(value("{1,2,3,4,5}"), v, from, to); },
      "0 1 5 {0,0,3,4,5}  0 - 0 {0,0,3,4,5}  0 -4 -1 {0,0,3,4,5}  0 2 5 {1,0,0,4,5}  0 1 20 {0,0,0,0,0}  "
      "'xy' 1 6 {'xy','xy','xy',4,5}  {7} 1 5 {{7},{7},3,4,5}  NIL 1 2 {NIL,2,3,4,5}  0 9 9 {1,2,3,4,5}  "
      "0 NIL NIL {0,0,3,4,5}  - 1 1 error  1 1 - error");
  expectAll(__AFill, "e{1} 1 1 1 error");
  expectAll(
      +[](Obj_Node* from, Obj_Node* to, Obj_Node* at) {
        return __ACopy(value("{1,2,3,4}"), value("{9,9,9,9,9}"), from, to, at);
      },
      "- - - {9,1,9,9,9}  1 4 0 {1,2,3,4,9}  2 3 1 {9,2,3,9,9}  2 NIL NIL {9,2,3,4,9}  NIL 99 3 {9,9,9,1,9}  "
      "5 9 0 {9,9,9,9,9}  1 4 4 {9,9,9,9,9}  -5 2 -5 {1,2,9,9,9}");
  expectAll(__ACopy, "{1} {} - - - {}  {1} e{1} - - - error  - {1} - - - error");
  Obj_Node* same = value("{'a','b',{1},4}");
  EXPECT_EQ(describe(__ACopy(same, same, n(1), n(4), n(1))), "{'a','a','a',4}");
}

TEST_F(ArrayTest, Searching) {
  expectAll(__AScan,
            "{1,2,3,2} 2 - - - 2  {1,2,3,2} 2 3 - - 4  {1,2,3,2} 2 3 3 - 0  {1,2,3,2} 2 3 9 - 4  {1,2,3,2} 2 5 - - 0  "
            "{1,2,3} 9 - - - 0  {'ab','a'} 'a' - - - 2  {F,T} T - - - 2  {d1,d2} d2 - - - 2  {} 1 - - - 0  "
            "{1,'x'} NIL - - - 0  {1} - - - - 0  {{1,'b'},{2,'a'}} 2 - - - 2  {{1,'b'},{2,'a'}} 'a' - - 2 2  "
            "{{1},{},{2,5}} 5 - - 2 3  {1,2} 2 -7 -7 - 2  {1,2} {1} - - - 0  {1,'x'} 'x' - - - error  "
            "{NIL,1} 1 - - - error  e{1} 1 - - - error");
  expectAll(
      +[](Obj_Node* a, Obj_Node* b) { return number(__Comp(a, b)); },
      "1 2 -1  2 1 1  nan 1 -1  'a' '\xE9' -1  d5 d5 0  F T 1  T T 0  - 1 -1  1 - -1  1 d1 error  NIL NIL error");
}

TEST_F(ArrayTest, Sorting) {
  expectAll(__ASORT,
            "{3,1,2} - - - - {1,2,3}  {3,1,2} - - F - {3,2,1}  {5,4,3,2,1} 2 4 T - {5,2,3,4,1}  {5,4,3,2,1} 3 - - - "
            "{5,4,1,2,3}  {2,1} - 1 - - {2,1}  {2,1} - 99 - - {1,2}  {2,1} 9 - - - {2,1}  {} - - - - {}  "
            "{T,F,T,F} - - T - {F,F,T,T}  {{2,'a'},{1,'b'}} - - - - {{1,'b'},{2,'a'}}  "
            "{{1,'b'},{2,'a'}} - - - 2 {{2,'a'},{1,'b'}}  {{2},{1}} - - - 2 {{2},{1}}  "
            "{1,'x'} - - - - error  {NIL,NIL} - - - - error  - - - - - error");
  for (const char* odd : {"{3,nan,1,2,nan,0}", "{F,T,F,T}"}) {  // these orders are none, but the passes end
    for (short ascending : {0, 1}) EXPECT_NE(__ASORT(value(odd), nullptr, nullptr, __INIT_BOOL(ascending)), nullptr);
  }
}

TEST_F(ArrayTest, SortedTextsKeepTheLengthFieldsOfTheirPlaces) {
  SetCheckBuffer(1);
  Obj_Node* a = __ASORT(value("{'a-long-text-at-first','b','','mid-size'}"));
  std::string sorted;
  for (int i = 0; i < 4; ++i)
    sorted += visible(__GET_ARRAY_EL(a, i)) + ":" + std::to_string(__GET_ARRAY_EL(a, i)->objLength) + " ";
  EXPECT_EQ(sorted, ":21 a-long-text-at-first:2 b:1 mid-size:9 ");
  Obj_Node* copy = __AClone(a);  // by length: no byte beyond a buffer may be read
  EXPECT_EQ(bytes(__GET_ARRAY_EL(copy, 0)) + bytes(__GET_ARRAY_EL(copy, 1)), std::string(20, '\0') + "a");
  __ASORT(copy, nullptr, nullptr, __INIT_BOOL(0));
  for (int i = 0; i < 4; ++i) bytes(variable(__GET_ARRAY_EL(__CopyArray(copy), i)));
}

// Rows with equal keys end where the passes of old leave them, whatever way is taken there.
TEST_F(ArrayTest, SortedRowsKeepTheOrderThatPassesGive) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    std::vector<std::pair<int, int>> model;
    std::string rows;
    for (int i = 0, size = static_cast<int>(random() % 40); i <= size; ++i) {
      model.emplace_back(static_cast<int>(random() % (round % 3 == 0 ? 1000 : 6)), i);
      rows += (i == 0 ? "{{" : ",{") + std::to_string(model.back().first) + "," + std::to_string(i) + "}";
    }
    for (bool moved = true; moved;) {
      moved = false;
      for (std::size_t at = 0; at < model.size(); ++at) {
        std::size_t ahead = at + 1;
        while (ahead < model.size() && model[at].first > model[ahead].first) ++ahead;
        if (ahead == at + 1) continue;
        std::swap(model[at], model[ahead - 1]);
        moved = true;
      }
    }
    std::string sorted;
    for (const auto& [key, id] : model)
      sorted += (sorted.empty() ? "{{" : ",{") + std::to_string(key) + "," + std::to_string(id) + "}";
    EXPECT_EQ(describe(__ASORT(value(rows + "}"), nullptr, nullptr, nullptr, number(1))), sorted + "}");
  }
}

TEST_F(ArrayTest, LongArraysAreFoundInAfterEveryChange) {
  constexpr int kLong = 30000;
  Obj_Node* a = __Array(number(kLong), nullptr);
  for (int i = 0; i < kLong; ++i) __SET_ARRAY_EL(a, number((i * 7919) % kLong), i);
  __ASORT(a);
  for (const int change : {100, kLong - 1, 1, 50}) {
    __ADel(a, number(change));
    __AIns(a, number(change));
    __ASize(a, number(kLong - change));
    __AAdd(a, number(-change));
    Obj_Node* element = a->objData.mArray->pFirst;
    for (int i = 0; i < __Array_Get_Amnt_Itens(a); ++i, element = element->objpNext)
      ASSERT_EQ(__GET_OBJ_ARRAY_EL(a, i), element) << change << " " << i;
  }
}

TEST_F(ArrayTest, MakingAndAccess) {
  EXPECT_EQ(describe(__CreateArray(n(1), value("{2}"), __INIT_NIL(), __INIT_NUL())), "{1,{2},NIL}");
  EXPECT_EQ(describe(__Array(n(2), n(1), n(2), __INIT_NUL())), "{{{NIL,NIL}},{{NIL,NIL}}}");
  expectAll(
      +[](Obj_Node* x, Obj_Node* y) { return __Array(x, y, __INIT_NUL()); }, "0 3 {}  1 '2' error");
  EXPECT_RUNTIME_ERROR(__CreateArray(n(1), nullptr), -1);
  Obj_Node* a = value("{1,{'b',{3}}}");
  EXPECT_EQ(describe(__ARRAY_EL(a, n(2), n(2), n(1), __INIT_NUL())), "3");
  EXPECT_EQ(describe(__ARRAY_EL(a, n(1), n(9), n(9), __INIT_NUL())), "1");  // ends at the first scalar
  EXPECT_EQ(__ATail(a), __GET_ARRAY_EL(a, 1));
  expectAll(__ATail, "{} -  {1,2} 2  1 error");
  expectAll(__Array_Get_Item, "{1,2} 1.9 1  {1} 0 error  {1} 2 error  {1} -1 error  {1} 1e300 error  {1} nan error");
  EXPECT_RUNTIME_ERROR(__GET_ARRAY_EL(a, 2), -1);
  EXPECT_RUNTIME_ERROR(__SET_ARRAY_EL(a, n(1), -1), -1);
  expectAll(
      +[](Obj_Node* x, Obj_Node* i) { return __ARRAY_EL(x, i, __INIT_NUL()); }, "{1} '1' error  e{1} 1 error");
}

TEST_F(ArrayTest, SharedAndCloned) {
  Obj_Node* row = value("{1}");
  Obj_Node* a = __AAdd(__AAdd(value("{}"), row), row);
  __AAdd(row, n(2));
  Obj_Node* copy = __CopyArray(a);
  Obj_Node* clone = __AClone(a);
  EXPECT_EQ(row->objRefCount, 4);
  __SET_ARRAY_EL(__GET_ARRAY_EL(a, 1), text("seen"), 0);
  EXPECT_EQ(describe(__AAdd(a, __GET_OBJ_ARRAY_EL(a, 0))), "{{'seen',2},{'seen',2},{'seen',2}}");
  EXPECT_EQ(describe(copy), "{{'seen',2},{'seen',2}}");
  EXPECT_EQ(describe(clone), "{{1,2},{1,2}}");
  expectAll(__AClone, "{{}} {{}}  {} -  1 -  - -");
}

TEST_F(ArrayTest, ArraysThatHoldThemselves) {
  __begin_context();
  Obj_Node* a = value("{0}");
  __AAdd(a, a);
  EXPECT_RUNTIME_ERROR(__AClone(a), -1);
  SetArrayContext(a, 1);  // ends, too
  EXPECT_EQ(describe(__ADel(a, n(2))), "{0,{}}");
  for (Obj_Node* v : {a, n(5)}) __SET_ARRAY_EL(a, v, 0);
  __SET_ARRAY_EL(a, a, 1);
  EXPECT_EQ(describe(__AIns(a, n(1))), "{NIL,5}");
  EXPECT_EQ(describe(__ASize(__AAdd(a, a), n(0))), "{}");
  Obj_Node* b = value("{1}");  // two that hold each other, one of them let go and taken back
  Obj_Node* c = __AAdd(value("{2}"), b);
  __AAdd(b, c);
  __SET_ARRAY_EL(b, n(3), 1);
  EXPECT_EQ(describe(c), "{2,{1,3}}");
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
  EXPECT_EQ(live(vArray), 3);
}

}  // namespace
