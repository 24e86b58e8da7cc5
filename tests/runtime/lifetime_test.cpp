// What lives how long: contexts, the ring of temporaries, constants, static variables.
#include <vector>

#include "values.h"

namespace {

class Lifetime : public RingTest {
 protected:
  /// Makes more temporaries than the ring has slots.
  static void stirRing() {
    for (int i = 0; i < 3 * iMaxStackElements; ++i) text("other");
  }
  /// All slots in order, the first of them the next to be taken.
  static std::vector<Obj_Node*> ring() {
    S_GLOB->StackPos = 0;
    return {S_GLOB->mNode, S_GLOB->mNode + iMaxStackElements};
  }
};
INSTANTIATE_RINGS(Lifetime);

TEST_P(Lifetime, ContextsTakeTheirOwn) {
  Obj_Node* outer = variable(text("outer"));
  Obj_Node* outerArray = value("{'x'}");
  const int variables = liveVariables();
  __begin_context();
  for (int i = 0; i < 5; ++i) {
    variable(text("local"));
    value("{1,{2,{'three'}},'x'}");
  }
  __SET_OBJECT(outer, text("changed"));
  EXPECT_EQ(__KillContext(), 2);
  EXPECT_EQ(liveVariables(), variables);
  EXPECT_EQ(liveArrays(), 1);
  variable(text("again"))->objRefCount = 1;  // somebody else holds it
  EXPECT_EQ(__end_context(nullptr), nullptr);
  EXPECT_EQ(S_GLOB->LastContext, 1);
  EXPECT_EQ(liveVariables(), variables + 1);
  EXPECT_EQ(bytes(outer), "changed");
  EXPECT_EQ(describe(outerArray), "{'x'}");
}

TEST_P(Lifetime, TheCallerKeepsWhatIsReturned) {
  const struct {
    const char* described;
    int context;  // of the node in the caller, -1 for none
    Obj_Node* (*make)();
  } cases[] = {
      {"'text'", 2, [] { return variable(text("text")); }},
      {"{1,{'a',{2}},{}}", 2, [] { return value("{1,{'a',{2}},{}}"); }},
      {"'text'", -1, [] { return text("text"); }},
      {"7", -1, [] { return number(7); }},
      {"'element'", -1, [] { return __GET_ARRAY_EL(value("{1,'element'}"), 1); }},
      {"3", -1, [] { return __GET_ARRAY_EL(value("{3}"), 0); }},
      {"{'row',{4}}", 2, [] { return __GET_ARRAY_EL(value("{{'row',{4}},5}"), 0); }},
      {"{'row',{4}}", 2, [] { return __GET_OBJ_ARRAY_EL(value("{{'row',{4}},5}"), 0); }},
      {"T", -1, [] { return __INIT_BOOL(1); }},
  };
  const int variables = liveVariables();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.described);
    __begin_context();
    __begin_context();
    variable(text("local"));
    Obj_Node* returned = __end_context(c.make());
    __begin_context();
    stirRing();
    __end_context(value("{1}"));
    EXPECT_EQ(describe(returned), c.described);
    EXPECT_EQ(returned->objContext, c.context);
    const bool slot = returned->objType == vRegister;
    EXPECT_EQ(returned->objRefCount, slot ? 2 : returned->objType == vRetval);
    __end_context(nullptr);
    EXPECT_TRUE(!slot || returned->objRefCount == 0);
    EXPECT_EQ(liveArrays(), 0);
    EXPECT_EQ(liveVariables(), variables);
    EXPECT_EQ(lckstack, 0);
  }
}

TEST_P(Lifetime, AReturnedReferenceStaysWithItsOwner) {
  Obj_Node* own = variable(text("mine"));
  Obj_Node* array = value("{{1}}");
  for (Obj_Node* returned : {own, array, own}) {
    __begin_context();
    __LockStack(own, array, __INIT_NUL());
    EXPECT_EQ(__end_context(returned), returned);
    EXPECT_EQ(returned->objContext, 1);
  }
}

TEST_P(Lifetime, ARemovedRowLivesOnInItsVariable) {
  Obj_Node* rows = value("{{'first'},{'second'}}");
  Obj_Node* row = __SET_OBJECT(variable(__INIT_NIL()), __GET_ARRAY_EL(rows, 0));
  EXPECT_EQ(describe(__ADel(rows, number(1))), "{{'second'},{}}");
  __ASize(rows, number(0));
  EXPECT_EQ(describe(row), "{'first'}");
}

TEST_P(Lifetime, TheRingComesRound) {
  const std::vector<Obj_Node*> slots = ring();
  for (int i = 0; i < iMaxStackElements; ++i) {
    EXPECT_EQ(text("round"), slots[static_cast<std::size_t>(i)]);
  }
  EXPECT_EQ(number(1), slots[0]);
  EXPECT_EQ(bytes(slots[1]), "round");
  __ReleaseStack2();
  EXPECT_EQ(slots[1]->objData.mbuff, nullptr);
  EXPECT_EQ(slots[1]->objLength, 0);
}

TEST_P(Lifetime, LockedSlotsStayUntilTheirContextEnds) {
  __begin_context();
  Obj_Node* kept = text("kept");
  Obj_Node* own = variable(text("v"));
  Obj_Node* behindNul = text("behind");
  EXPECT_EQ(__LockStack(own, kept, __INIT_NUL(), behindNul, __INIT_NUL()), 0);
  EXPECT_EQ(kept->objRefCount, 2);
  EXPECT_EQ(own->objRefCount, 0);
  EXPECT_EQ(behindNul->objRefCount, 0);
  EXPECT_EQ(lckstack, 1);
  __begin_context();
  __LockStack(kept, nullptr);  // stays with the older lock
  EXPECT_EQ(kept->objRefCount, 2);
  Obj_Node* inner = text("inner");
  LockStack({nullptr, inner, nullptr});
  EXPECT_EQ(inner->objRefCount, 3);
  EXPECT_EQ(lckstack, 2);
  __end_context(nullptr);
  EXPECT_EQ(inner->objRefCount, 0);
  EXPECT_EQ(inner->objData.mbuff, nullptr);
  stirRing();
  __ReleaseStack2();
  EXPECT_EQ(bytes(kept), "kept");
  __end_context(nullptr);
  EXPECT_EQ(kept->objData.mbuff, nullptr);
  EXPECT_EQ(lckstack, 0);
}

TEST_P(Lifetime, AFullRingIsFatalItsLastFreeSlotIsNot) {
  const std::vector<Obj_Node*> slots = ring();
  const auto lockAllBut = [&slots](std::size_t kept) {
    for (Obj_Node* slot : slots) slot->objRefCount = 2;
    if (kept < slots.size()) slots[kept]->objRefCount = 0;
  };
  for (std::size_t kept = 0; kept < slots.size() - 1; ++kept) {
    for (std::int16_t from = 0; from <= limitstack; ++from) {
      lockAllBut(kept);
      S_GLOB->StackPos = from;
      ASSERT_EQ(__CheckStack(), slots[kept]) << "from " << from;
    }
  }
  lockAllBut(slots.size());
  EXPECT_RUNTIME_ERROR(number(1), -1);
  lockAllBut(slots.size() - 1);  // this one is taken in turn, never by looking around
  S_GLOB->StackPos = 0;
  EXPECT_RUNTIME_ERROR(number(1), -1);
  S_GLOB->StackPos = static_cast<std::int16_t>(limitstack);
  EXPECT_EQ(number(1), slots.back());
  for (Obj_Node* slot : slots) slot->objRefCount = 0;
  for (Obj_Node* slot : slots) __LockStack(slot, __INIT_NUL());
  EXPECT_EQ(lckstack, iMaxStackElements);
  EXPECT_RUNTIME_ERROR(number(1), -1);
}

TEST_P(Lifetime, ResultsMayTakeTheirOperandsSlot) {
  const std::vector<Obj_Node*> slots = ring();
  for (Obj_Node* slot : slots) slot->objRefCount = 2;
  slots[3]->objRefCount = 0;
  EXPECT_EQ(bytes(__SUM(text("left"), S_GLOB->mRetVal[8])), "left");
  EXPECT_EQ(bytes(__INIT_CHARPTR(text("again")->objData.mbuff)), "again");
}

TEST(RingSize, IsSetBetweenRunsOnly) {
  for (int refused : {-1, 0, 15, 32001}) {
    __SetMaxStackElements(refused);
    EXPECT_EQ(iMaxStackElements, 150);
  }
  __SetMaxStackElements(16);
  EXPECT_EQ(limitstack, 15);
  __BeginGlobal();
  __SetMaxStackElements(99);
  EXPECT_EQ(iMaxStackElements, 16);
  __EndGlobal();
  EXPECT_EQ(S_GLOB, nullptr);
  __EndGlobal();
  __SetMaxStackElements(150);
}

class Pool : public RuntimeTest {};

TEST_F(Pool, ConstantsInOrder) {
  EXPECT_RUNTIME_ERROR(__const_get_el(0), -1);
  __const_set_amount(3);
  EXPECT_EQ(__const_add_el(__INIT_CHARCONST("first")), 0);
  EXPECT_EQ(__const_add_el(number(2)), 1);
  EXPECT_RUNTIME_ERROR(__const_add_el(nullptr), -1);
  EXPECT_RUNTIME_ERROR(__const_get_el(2), -1);
  EXPECT_EQ(__const_add_el(__INIT_BOOL(1)), 2);
  EXPECT_RUNTIME_ERROR(__const_add_el(number(4)), -1);
  EXPECT_RUNTIME_ERROR(__const_get_el(-1), -1);
  std::string all;
  for (int i = 0; i < 3; ++i) {
    const Obj_Node* constant = __const_get_el(i);
    all += describe(constant);
    EXPECT_EQ(constant->objType, vConst);
    EXPECT_EQ(constant->objRefCount, 1);
    EXPECT_EQ(constant->objContext, -1);
  }
  EXPECT_EQ(all, "'first'2T");
}

TEST_F(Pool, StaticVariablesAreForgottenNotFreed) {
  Obj_Node* first = value("{1}");
  Obj_Node* second = variable(text("s"));
  Obj_Node* kept = second;
  __AddStaticStack(&first);
  __AddStaticStack(&second);
  ASSERT_NE(globstatic, nullptr);
  EXPECT_EQ(globstatic->var, &first);
  EXPECT_EQ(globstatic->next->context, 1);
  for (int i = 0; i < 2; ++i) {
    __CleanStaticStack();
    EXPECT_EQ(globstatic, nullptr);
  }
  EXPECT_EQ(first, nullptr);
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(bytes(kept), "s");
}

}  // namespace
