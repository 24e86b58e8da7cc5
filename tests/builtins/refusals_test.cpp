// Wrong arguments, sizes and missing memory end the process; each call runs in a child.
#include "builtins/vornefun.h"
#include "support/runtime_fixture.h"
#include "table.h"

namespace {

class Refusals : public RuntimeTest {
 protected:
  static Obj_Node* abc() { return text("abc"); }
  static Obj_Node* one() { return number(1); }
  /// A text whose buffer was moved away.
  static Obj_Node* moved() {
    Obj_Node* n = abc();
    __SET_OBJECT(nullptr, n);
    return n;
  }
};

TEST_F(Refusals, WrongArgumentsAndSizes) {
#define CALL(call) +[] { return call; }
  Obj_Node* (*const calls[])() = TABLE(
      CALL(__SubStr(nullptr, one())), CALL(__SubStr(abc(), abc())), CALL(__SubStr(abc(), nullptr)),
      CALL(__SubStr(abc(), one(), abc())), CALL(__Left(moved(), one())), CALL(__Right(abc(), __INIT_NIL())),
      CALL(__At(__INIT_NIL(), abc())), CALL(__At(abc(), __DoDecode(text("")))), CALL(__Rat(abc(), one())),
      CALL(__Upper(__INIT_NIL())), CALL(__Lower(moved())), CALL(__LTrim(nullptr)), CALL(__RTrim(one())),
      CALL(__AllTrim(__INIT_BOOL(1))), CALL(__PadR(abc(), one(), one())), CALL(__PadL(abc(), number(9), nullptr)),
      CALL(__PadC(abc(), abc(), abc())), CALL(__Space(abc())), CALL(__Replicate(one(), one())),
      CALL(__StrTran(abc(), abc(), nullptr)), CALL(__StrTran(abc(), abc(), abc(), abc())),
      CALL(__StrTran(abc(), abc(), abc(), one(), abc())), CALL(__Stuff(abc(), one(), one(), one())), CALL(__Asc(one())),
      CALL(__Chr(__INIT_LONG(1))), CALL(__Str(abc())), CALL(__Str(one(), abc())), CALL(__StrZero(nullptr)),
      CALL(__GetLastZero(one())), CALL(__DoEncode(__INIT_NIL())), CALL(__DoDecode(nullptr)), CALL(__Space(number(-1))),
      CALL(__Space(number(1e12))), CALL(__Replicate(abc(), number(2147483647.0))),
      CALL(__PadR(abc(), number(2147483647.0))), CALL(__PadL(abc(), number(2147483647.0), text(""))),
      CALL((__Set_DateFormat(one()), abc())), CALL((__Set_DateFormat(__INIT_NIL()), abc())));
  for (const auto& call : calls) EXPECT_RUNTIME_ERROR(call(), -1) << "call " << &call - calls + 1;
}

TEST_F(Refusals, WithoutMemory) {
  Obj_Node* s = text("QQA=");
  vorne::allocationsLeft = 0;
  for (auto* copy : {&__Upper, &__Lower, &__LTrim, &__RTrim, &__AllTrim}) EXPECT_RUNTIME_ERROR(copy(s), -1);
  // The codec leaves the refusal to its caller.
  EXPECT_EQ(Encode64("a", 1), nullptr);
  EXPECT_EQ(__DoEncode(s), nullptr);
  EXPECT_EQ(__DoDecode(s), nullptr);
  EXPECT_EQ(__SetBuffer("abc", 3)->objVarType, varNil);
}

}  // namespace
