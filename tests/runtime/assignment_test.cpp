// Assignment: every kind of value into every kind of place, and the release of variables.
#include "values.h"

namespace {

using namespace std::string_view_literals;

class Assignment : public RuntimeTest {};

enum class Fate { kReused, kNew, kIgnored };

const struct Place {
  const char* name;
  Fate fate;
  Obj_Node* (*make)();
} kPlaces[] = {
    {"nothing", Fate::kNew, [] { return value("-"); }},
    {"NIL variable", Fate::kReused, [] { return variable(__INIT_NIL()); }},
    {"text variable", Fate::kReused, [] { return variable(text("old")); }},
    {"text element", Fate::kReused, [] { return __GET_OBJ_ARRAY_EL(value("{'old'}"), 0); }},
    {"array element", Fate::kReused, [] { return __GET_OBJ_ARRAY_EL(value("{{1,'x',{2}}}"), 0); }},
    {"array", Fate::kNew, [] { return value("{1,'x'}"); }},
    {"temporary", Fate::kNew, [] { return text("old"); }},
    {"shared value", Fate::kNew, [] { return S_GLOB->mRetVal[5]; }},
    {"constant", Fate::kIgnored, [] { return __const_get_el(0); }},
};

const struct Source {
  const char* described;
  int length;
  Obj_Node* (*make)();
} kSources[] = {
    {"-2.5", -1, [] { return number(-2.5); }},
    {"d40179", -1, [] { return __INIT_DATE(40179); }},
    {"T", -1, [] { return __INIT_BOOL(1); }},
    {"F", -1, [] { return variable(__INIT_BOOL(0)); }},
    {"long-9", -1, [] { return __INIT_LONG(-9); }},
    {"type23", -1, [] { return __INIT_VOIDPTR(nullptr); }},
    {"NIL", -1, [] { return __INIT_NIL(); }},
    {"NIL", -1, [] { return value("-"); }},
    {"NUL", -1, [] { return __INIT_NUL(); }},
    {"NUL", 0, [] { return S_GLOB->mRetVal[6]; }},
    {"'ab'", 3, [] { return text("ab"); }},
    {"'ab'", 3, [] { return variable(text("ab")); }},
    {"'ab'", 3, [] { return __GET_ARRAY_EL(value("{'ab'}"), 0); }},
    {"'ab'", 3, [] { return __INIT_CHARCONST("ab"); }},
    {"''", 1, [] { return S_GLOB->mRetVal[8]; }},
};

TEST_F(Assignment, EveryScalarIntoEveryPlace) {
  __const_set_amount(1);
  __const_add_el(__INIT_CHARCONST("fixed"));
  for (const Place& place : kPlaces) {
    for (const Source& source : kSources) {
      SCOPED_TRACE(std::string(source.described) + " into " + place.name);
      Obj_Node* dest = place.make();
      Obj_Node* src = source.make();
      const std::string before = describe(dest);
      const int variables = liveVariables();
      Obj_Node* target = __SET_OBJECT(dest, src);
      EXPECT_EQ(target == dest, place.fate != Fate::kNew);
      EXPECT_EQ(liveVariables() - variables, place.fate == Fate::kNew ? 1 : 0);
      if (place.fate == Fate::kIgnored) {
        EXPECT_EQ(describe(target), "'fixed'");
        continue;
      }
      EXPECT_EQ(describe(target), source.described);
      EXPECT_EQ(target->objLength, source.length);
      if (place.fate == Fate::kNew) {
        EXPECT_EQ(describe(dest), before);
      }
    }
  }
}

TEST_F(Assignment, ReservedTypesAreRefused) {
  for (int type : {0, 1, 2, 3, 4, 6, 7, 8, 9, 14, 16, 17, 18, 19, 20, 24}) {
    Obj_Node src;
    __InitObjNode(&src, type);
    EXPECT_RUNTIME_ERROR(__SET_OBJECT(nullptr, &src), -1) << type;
  }
  Obj_Node* row = __GET_OBJ_ARRAY_EL(value("{{1}}"), 0);
  EXPECT_RUNTIME_ERROR(__SET_OBJECT(nullptr, row), -1);
}

TEST_F(Assignment, TextLeavesAnUnlockedTemporaryOnly) {
  Obj_Node* free = text("moved");
  const char* buffer = free->objData.mbuff;
  EXPECT_EQ(variable(free)->objData.mbuff, buffer);
  EXPECT_EQ(free->objData.mbuff, nullptr);
  EXPECT_EQ(free->objLength, 0);
  EXPECT_EQ(variable(free)->objVarType, varNul);

  Obj_Node* locked = text("copied");
  __LockStack(locked, __INIT_NUL());
  EXPECT_NE(variable(locked)->objData.mbuff, locked->objData.mbuff);
  EXPECT_EQ(bytes(locked), "copied");
}

TEST_F(Assignment, CopiesGoByLengthWhenToldSo) {
  Obj_Node* source = variable(text("a\0b"sv));
  EXPECT_EQ(bytes(variable(source)), "a\0\0"sv);  // the length field is kept, the bytes behind the zero are not
  SetCheckBuffer(1);
  EXPECT_EQ(bytes(variable(source)), "a\0b"sv);
}

TEST_F(Assignment, SourcesInsideTheirDestination) {
  Obj_Node* self = variable(text("same"));
  EXPECT_EQ(__SET_OBJECT(self, self), self);
  EXPECT_EQ(bytes(self), "same");
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
  const int variables = liveVariables();
  __begin_context();
  Obj_Node* array = value("{1,'x'}");
  Obj_Node* local = __SET_OBJECT(nullptr, __INIT_NIL());
  EXPECT_EQ(__SET_OBJECT(local, array), array);
  EXPECT_EQ(liveVariables(), variables);  // the variable's node gave way to the array
  for (Obj_Node* dest : {value("-"), text("t"), __INIT_NIL()}) EXPECT_EQ(__SET_OBJECT(dest, array), array);
  Obj_Node* constant = __INIT_CHARCONST("fixed");
  EXPECT_EQ(__SET_OBJECT(constant, array), constant);

  Obj_Node* other = value("{'old',{1}}");
  EXPECT_EQ(__SET_OBJECT(other, array), other);
  EXPECT_EQ(describe(other), "{1,'x'}");
  EXPECT_EQ(describe(array), "{}");
  __end_context(nullptr);
  EXPECT_EQ(liveArrays(), 0);

  Obj_Node* outer = variable(text("old"));  // keeps an inner function's array alive
  __begin_context();
  __begin_context();
  outer = __SET_OBJECT(outer, value("{1,{'deep'}}"));
  __end_context(nullptr);
  __end_context(nullptr);
  EXPECT_EQ(describe(outer), "{1,{'deep'}}");
  EXPECT_EQ(outer->objContext, 1);
}

TEST_F(Assignment, ReferencesAreMadeWhenMissing) {
  Obj_Node* slot = nullptr;
  Obj_Node* made = __ByRef(&slot);
  EXPECT_EQ(made, slot);
  EXPECT_EQ(made->objType, vVariable);
  EXPECT_EQ(describe(made), "NIL");
  EXPECT_EQ(__ByRef(&slot), made);
}

TEST_F(Assignment, ReleasingVariables) {
  const int variables = liveVariables();
  Obj_Node* first = variable(text("a"));
  Obj_Node* second = variable(text("b"));
  Obj_Node* third = variable(text("c"));
  second->objRefCount = 1;
  EXPECT_EQ(__fcObj_DT(second), third);  // one holder less
  EXPECT_EQ(__fcObj_DT(second), third);
  EXPECT_EQ(first->objpNext, third);
  EXPECT_EQ(__fcObj_DT(third), nullptr);
  EXPECT_EQ(S_GLOB->cdnptr[vVariable].pLast, first);
  first->objRefCount = -1;
  for (Obj_Node* kept : {first, value("-"), value("{1}")}) EXPECT_EQ(__fcObj_DT(kept), nullptr);
  EXPECT_EQ(liveVariables(), variables + 1);
}

}  // namespace
