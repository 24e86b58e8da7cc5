// What lives how long: contexts, the ring of temporaries, constants, static variables.
#include "values.h"

namespace {

class Lifetime : public RingTest {
 protected:
  /// Makes more temporaries than the ring has slots.
  static void stirRing() {
    for (int i = 0; i < 3 * iMaxStackElements; ++i) text("other");
  }
  /// All slots in order.
  static std::vector<Obj_Node*> ring() { return {S_GLOB->mNode, S_GLOB->mNode + iMaxStackElements}; }
};
INSTANTIATE_RINGS(Lifetime);

TEST_P(Lifetime, ContextsTakeTheirOwn) {
  Obj_Node* outer = variable(text("outer"));
  Obj_Node* outerArray = value("{'x'}");
  const int variables = live(vVariable);
  __begin_context();
  for (int i = 0; i < 5; ++i) variable(text("local")), value("{1,{2,{'three'}},'x'}");
  __SET_OBJECT(outer, text("changed"));
  EXPECT_EQ(__KillContext(), 2);
  EXPECT_TRUE(live(vVariable) == variables && live(vArray) == 1);
  variable(text("again"))->objRefCount = 1;  // somebody else holds it
  EXPECT_EQ(__end_context(nullptr), nullptr);
  EXPECT_EQ(live(vVariable), variables + 1);
  EXPECT_EQ(bytes(outer) + describe(outerArray), "changed{'x'}");
}

TEST_P(Lifetime, TheCallerKeepsWhatIsReturned) {
  const char* table =  // returned, as the caller sees it, its context
      "v'text' 'text' 2  {1,{'a',{2}},{}} {1,{'a',{2}},{}} 2  'text' 'text' -1  7 7 -1  s'element' 'element' -1  "
      "s{'row',{4}} {'row',{4}} 2  e{'row',{4}} {'row',{4}} 2  T T -1";
  const int variables = live(vVariable);
  for (const auto& row : rows(table, 3)) {
    SCOPED_TRACE(row[0]);
    __begin_context();
    __begin_context();
    variable(text("local"));
    Obj_Node* returned = __end_context(value(row[0]));
    __begin_context();
    stirRing();
    __end_context(value("{1}"));
    EXPECT_EQ(describe(returned), row[1]);
    EXPECT_EQ(std::to_string(returned->objContext), row[2]);
    const bool slot = returned->objType == vRegister;
    EXPECT_EQ(returned->objRefCount, slot ? 2 : returned->objType == vRetval);
    __end_context(nullptr);
    EXPECT_TRUE(!slot || returned->objRefCount == 0);
    EXPECT_EQ(live(vArray) + live(vVariable) + lckstack, variables);
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
  Obj_Node* row = __SET_OBJECT(variable(__INIT_NIL()), __GET_ARRAY_EL(array, 0));  // as does a row that was removed
  EXPECT_EQ(describe(__ADel(array, number(1))), "{{}}");
  __ASize(array, number(0));
  EXPECT_EQ(describe(row), "{1}");
}

TEST_P(Lifetime, TheRingComesRound) {
  const std::vector<Obj_Node*> slots = ring();
  S_GLOB->StackPos = 0;
  for (Obj_Node* slot : slots) EXPECT_EQ(text("round"), slot);
  EXPECT_EQ(number(1), slots[0]);
  EXPECT_EQ(bytes(slots[1]), "round");
  __ReleaseStack2();
  EXPECT_TRUE(slots[1]->objData.mbuff == nullptr && slots[1]->objLength == 0);
}

TEST_P(Lifetime, LockedSlotsStayUntilTheirContextEnds) {
  __begin_context();
  Obj_Node* kept = text("kept");
  Obj_Node* own = variable(text("v"));
  Obj_Node* behindNul = text("behind");
  __LockStack(own, kept, __INIT_NUL(), behindNul, __INIT_NUL());
  EXPECT_EQ(own->objRefCount + behindNul->objRefCount, 0);
  __begin_context();
  __LockStack(kept, nullptr);  // stays with the older lock
  EXPECT_EQ(kept->objRefCount, 2);
  Obj_Node* inner = text("inner");
  LockStack({nullptr, inner, nullptr});
  EXPECT_EQ(lckstack, 2);
  __end_context(nullptr);
  EXPECT_TRUE(inner->objRefCount == 0 && inner->objData.mbuff == nullptr);
  stirRing();
  __ReleaseStack2();
  EXPECT_EQ(bytes(kept), "kept");
  __end_context(nullptr);
  EXPECT_TRUE(kept->objData.mbuff == nullptr && lckstack == 0);
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
  EXPECT_RUNTIME_ERROR((lockAllBut(slots.size()), number(1)), -1);
  lockAllBut(slots.size() - 1);  // this one is taken in turn, never by looking around
  EXPECT_RUNTIME_ERROR((S_GLOB->StackPos = 0, number(1)), -1);
  S_GLOB->StackPos = static_cast<std::int16_t>(limitstack);
  EXPECT_EQ(number(1), slots.back());
  lockAllBut(3);  // a result may take its operand's slot
  EXPECT_EQ(bytes(__SUM(text("left"), S_GLOB->mRetVal[8])), "left");
}

TEST(RingSize, IsSetBetweenRunsOnly) {
  for (int refused : {-1, 0, 15, 32001}) __SetMaxStackElements(refused);
  EXPECT_EQ(iMaxStackElements, 150);
  __SetMaxStackElements(16);
  __BeginGlobal();
  __SetMaxStackElements(99);
  EXPECT_EQ(iMaxStackElements, 16);
  for (int i = 0; i < 2; ++i) __EndGlobal();
  EXPECT_EQ(S_GLOB, nullptr);
  __SetMaxStackElements(150);
}

TEST_P(Lifetime, ConstantsInOrder) {
  __const_set_amount(2);
  EXPECT_EQ(__const_add_el(__INIT_CHARCONST("first")), 0);
  EXPECT_RUNTIME_ERROR(__const_add_el(nullptr), -1);
  EXPECT_EQ(__const_add_el(number(2)), 1);
  EXPECT_RUNTIME_ERROR(__const_add_el(number(4)), -1);
  for (int outside : {-1, 2}) EXPECT_RUNTIME_ERROR(__const_get_el(outside), -1);
  EXPECT_EQ(describe(__const_get_el(0)) + describe(__const_get_el(1)), "'first'2");
}

TEST_P(Lifetime, StaticVariablesAreForgottenNotFreed) {
  Obj_Node* kept = variable(text("s"));
  Obj_Node* storage[] = {value("{1}"), kept};
  for (auto& one : storage) __AddStaticStack(&one);
  for (int i = 0; i < 2; ++i) __CleanStaticStack();
  EXPECT_TRUE(storage[0] == nullptr && storage[1] == nullptr && globstatic == nullptr);
  EXPECT_EQ(bytes(kept), "s");
}

}  // namespace
