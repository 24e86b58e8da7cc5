// Wrong arguments and missing memory end the process; each call runs in a child.
#include "builtins/vornefun.h"
#include "support/runtime_fixture.h"

namespace {

class Refusals : public RuntimeTest {};

struct Call {
  const char* call;
  Obj_Node* (*run)();
};
#define CALL(call)             \
  Call {                       \
#call, [] { return call; } \
  }

/// A text whose buffer was moved away.
Obj_Node* moved() {
  Obj_Node* n = text("abc");
  __SET_OBJECT(nullptr, n);
  return n;
}
Obj_Node* abc() {
  return text("abc");
}
Obj_Node* one() {
  return number(1);
}

TEST_F(Refusals, WrongArguments) {
  const Call calls[] = {
      CALL(__SubStr(nullptr, one())),
      CALL(__SubStr(abc(), abc())),
      CALL(__SubStr(abc(), nullptr)),
      CALL(__SubStr(abc(), one(), abc())),
      CALL(__Left(moved(), one())),
      CALL(__Right(abc(), __INIT_NIL())),
      CALL(__At(__INIT_NIL(), abc())),
      CALL(__At(abc(), __DoDecode(text("")))),
      CALL(__Rat(abc(), one())),
      CALL(__Upper(__INIT_NIL())),
      CALL(__Lower(moved())),
      CALL(__LTrim(nullptr)),
      CALL(__RTrim(one())),
      CALL(__AllTrim(__INIT_BOOL(1))),
      CALL(__PadR(abc(), one(), one())),
      CALL(__PadL(abc(), number(9), nullptr)),
      CALL(__PadC(abc(), abc(), abc())),
      CALL(__Space(abc())),
      CALL(__Replicate(one(), one())),
      CALL(__StrTran(abc(), abc(), nullptr)),
      CALL(__StrTran(abc(), abc(), abc(), abc())),
      CALL(__StrTran(abc(), abc(), abc(), one(), abc())),
      CALL(__Stuff(abc(), one(), one(), one())),
      CALL(__Asc(one())),
      CALL(__Chr(__INIT_LONG(1))),
      CALL(__Str(abc())),
      CALL(__Str(one(), abc())),
      CALL(__StrZero(nullptr)),
      CALL(__GetLastZero(one())),
      CALL(__DoEncode(__INIT_NIL())),
      CALL(__DoDecode(nullptr)),
  };
  for (const Call& c : calls) {
    SCOPED_TRACE(c.call);
    EXPECT_RUNTIME_ERROR(c.run(), -1);
  }
}

TEST_F(Refusals, SizesAndMemory) {
  const Call calls[] = {
      CALL(__Space(number(-1))),
      CALL(__Space(number(1e12))),
      CALL(__Replicate(abc(), number(2147483647.0))),
      CALL(__PadR(abc(), number(2147483647.0))),
      CALL(__PadL(abc(), number(2147483647.0), text(""))),
  };
  for (const Call& c : calls) {
    SCOPED_TRACE(c.call);
    EXPECT_RUNTIME_ERROR(c.run(), -1);
  }
  Obj_Node* s = abc();
  vorne::allocationsLeft = 0;
  for (auto* copy : {&__Upper, &__Lower, &__LTrim, &__RTrim, &__AllTrim}) {
    EXPECT_RUNTIME_ERROR(copy(s), -1);
  }
}

}  // namespace
