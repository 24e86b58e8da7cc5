// Assignment: every kind of value into every kind of place, and the release of variables.
#include "values.h"

namespace {

using namespace std::string_view_literals;

class Assignment : public RuntimeTest {};

TEST_F(Assignment, EveryScalarIntoEveryPlace) {
  __const_set_amount(1);
  __const_add_el(__INIT_CHARCONST("fixed"));
  const char* places =
      "- new  vNIL reused  v'old' reused  e'old' reused  e{1,'x',{2}} reused  {1,'x'} new  'old' new  r5 new";
  const char* sources =  // value, as it is then, length field
      "-2.5 -2.5 -1  d40179 d40179 -1  T T -1  vF F -1  long long1 -1  NIL NIL -1  - NIL -1  NUL NUL -1  r6 NUL 0  "
      "'ab' 'ab' 3  v'ab' 'ab' 3  e'ab' 'ab' 3  const 'ab' 3  r8 '' 1";
  for (const auto& source : rows(sources, 3)) {
    for (const auto& place : rows(places, 2)) {
      SCOPED_TRACE(source[0] + " into " + place[0]);
      Obj_Node* dest = value(place[0]);
      Obj_Node* src = value(source[0]);
      const std::string before = describe(dest);
      const int variables = live(vVariable);
      Obj_Node* target = __SET_OBJECT(dest, src);
      EXPECT_EQ(target == dest ? "reused" : "new", place[1]);
      EXPECT_EQ(live(vVariable) - variables, target == dest ? 0 : 1);
      EXPECT_EQ(describe(target), source[1]);
      EXPECT_EQ(std::to_string(target->objLength), source[2]);
      EXPECT_TRUE(target == dest || describe(dest) == before);
    }
    EXPECT_EQ(describe(__SET_OBJECT(__const_get_el(0), value(source[0]))), "'fixed'");
  }
  EXPECT_EQ(describe(variable(__INIT_VOIDPTR(nullptr))), "pointer");
  // Types that are reserved, and an element whose array is not named by itself.
  for (int type : {0, 1, 2, 3, 4, 6, 7, 8, 9, 14, 16, 17, 18, 19, 20, 24}) {
    Obj_Node src;
    __InitObjNode(&src, type);
    EXPECT_RUNTIME_ERROR(__SET_OBJECT(nullptr, &src), -1) << type;
  }
  EXPECT_RUNTIME_ERROR(__SET_OBJECT(nullptr, value("e{1}")), -1);
}

TEST_F(Assignment, TextIsMovedOrCopied) {
  Obj_Node* free = text("moved");
  const char* buffer = free->objData.mbuff;
  EXPECT_EQ(variable(free)->objData.mbuff, buffer);
  EXPECT_TRUE(free->objData.mbuff == nullptr && free->objLength == 0);
  EXPECT_EQ(variable(free)->objVarType, varNul);
  Obj_Node* locked = text("copied");
  __LockStack(locked, __INIT_NUL());
  EXPECT_NE(variable(locked)->objData.mbuff, locked->objData.mbuff);
  EXPECT_EQ(bytes(locked), "copied");
  Obj_Node* source = variable(text("a\0b"sv));
  EXPECT_EQ(bytes(variable(source)), "a\0\0"sv);  // the length field is kept, the bytes behind the zero are not
  SetCheckBuffer(1);
  EXPECT_EQ(bytes(variable(source)), "a\0b"sv);
}

TEST_F(Assignment, SourcesInsideTheirDestination) {
  Obj_Node* self = variable(text("same"));
  EXPECT_EQ(bytes(__SET_OBJECT(self, self)), "same");
  Obj_Node* array = value("{{'in',{7}},2}");
  EXPECT_EQ(__SET_OBJECT(array, array), array);
  // The text lives in the very array that the element gives up.
  __SET_OBJECT(__GET_OBJ_ARRAY_EL(array, 0), __ARRAY_EL(array, number(1), number(1), __INIT_NUL()));
  EXPECT_EQ(describe(array), "{'in',2}");

  array = value("{{'in',{7}},2}");
  Obj_Node* row = __GET_ARRAY_EL(array, 0);
  EXPECT_EQ(__SET_OBJECT(array, row), array);
  EXPECT_EQ(describe(array), "{'in',{7}}");
  EXPECT_EQ(describe(row), "{}");  // still there for the variable that holds it
  EXPECT_EQ(describe(__SET_OBJECT(array, __ARRAY_EL(array, number(2), number(1), __INIT_NUL()))), "7");
  EXPECT_EQ(describe(array), "{'in',{7}}");
}

TEST_F(Assignment, ArraysAreSharedOrMoved) {
  const int variables = live(vVariable);
  __begin_context();
  Obj_Node* array = value("{1,'x'}");
  Obj_Node* local = __SET_OBJECT(nullptr, __INIT_NIL());
  EXPECT_EQ(__SET_OBJECT(local, array), array);
  EXPECT_EQ(live(vVariable), variables);  // the variable's node gave way to the array
  for (Obj_Node* dest : {value("-"), text("t"), __INIT_NIL()}) EXPECT_EQ(__SET_OBJECT(dest, array), array);
  Obj_Node* other = value("{'old',{1}}");
  EXPECT_EQ(__SET_OBJECT(other, array), other);
  EXPECT_EQ(describe(other), "{1,'x'}");
  EXPECT_EQ(describe(array), "{}");
  __end_context(nullptr);
  EXPECT_EQ(live(vArray), 0);

  Obj_Node* outer = variable(text("old"));  // keeps an inner function's array alive
  for (int i = 0; i < 2; ++i) __begin_context();
  outer = __SET_OBJECT(outer, value("{1,{'deep'}}"));
  for (int i = 0; i < 2; ++i) __end_context(nullptr);
  EXPECT_EQ(describe(outer), "{1,{'deep'}}");
  EXPECT_EQ(outer->objContext, 1);
}

TEST_F(Assignment, MakingAndReleasingVariables) {
  Obj_Node* slot = nullptr;
  EXPECT_EQ(describe(__ByRef(&slot)), "NIL");
  EXPECT_EQ(__ByRef(&slot), slot);
  const int variables = live(vVariable);
  Obj_Node* first = variable(text("a"));
  Obj_Node* second = variable(text("b"));
  Obj_Node* third = variable(text("c"));
  second->objRefCount = 1;
  for (int holders : {2, 1}) EXPECT_EQ(__fcObj_DT(second), third) << holders;
  EXPECT_EQ(first->objpNext, third);
  EXPECT_EQ(__fcObj_DT(third), nullptr);
  EXPECT_EQ(S_GLOB->cdnptr[vVariable].pLast, first);
  for (Obj_Node* kept : {value("-"), value("{1}")}) EXPECT_EQ(__fcObj_DT(kept), nullptr);
  EXPECT_EQ(live(vVariable), variables + 1);
}

}  // namespace
