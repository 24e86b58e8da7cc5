// How a fatal error ends the process, and the arrays that it saves. Each end happens in a child process.
#include "runtime/hooks.h"
#include "support/child.h"
#include "values.h"

const char* greeting();

namespace {

class FatalErrors : public RuntimeTest {
 protected:
  void TearDown() override { vorne::hooks = {}, pExit = nullptr, RuntimeTest::TearDown(); }
};

void expectEnd(const std::function<void()>& body, const std::string& printed) {
  const ChildResult end = runChild(body);
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.output, printed);
}

TEST_F(FatalErrors, CallTheExitFunctionThenCloseTheTables) {
  const auto report = [] {
    char message[2048];
    GetError(message, 1);
    std::printf("[%s]", message);
  };
  expectEnd([] { __RuntimeError(99, 0); }, "\nRunTimeError = 0");
  EXPECT_EQ(describe(__RegisterExit(reinterpret_cast<void*>(+report))), "F");
  EXPECT_EQ(describe(__RegisterExit(nullptr)), "F");  // keeps the function
  vorne::hooks.closeWorkAreas = [] { std::printf("[tables]"); };
  expectEnd([] { __RuntimeError(1, 134); },
            "[BOUND ERROR!\nMsg(134)-Fun\xE7\xE3o n\xE3o encontrada.][tables]\nRunTimeError = 134");
  expectEnd([] { __RuntimeError(1, -1); }, "[BOUND ERROR!][tables]\nRunTimeError = -1");
}

TEST_F(FatalErrors, RaisedAgainSkipTheStepAndTellTheFirst) {
  const auto fail = [] { __RuntimeError(1, 8); };
  vorne::hooks.closeWorkAreas = [] { std::printf("[tables]"); };
  pExit = [] { __RuntimeError(0, 7); };
  expectEnd(fail, "[tables]\nRunTimeError = 8");
  pExit = [] { number(1); };  // the ring is full, which was the error's cause
  const auto fillRing = [] {
    for (;;) __LockStack(number(1), __INIT_NUL());
  };
  expectEnd(fillRing, "[tables]\nRunTimeError = -1");
  pExit = nullptr;
  vorne::hooks.closeWorkAreas = [] { __ARRAY_EL(value("{}"), number(1), __INIT_NUL()); };
  expectEnd(fail, "\nRunTimeError = 8");
  vorne::hooks.saveArray = [](const char* name, Obj_Node*) -> bool {
    if (*name == 'b') __RuntimeError(11, 9);
    return std::printf("[%s]", name) > 0 && *name != 'd';
  };
  vorne::hooks.logFailure = [](const char* line) { std::printf("<%s>", line); };
  for (const char* name : {"a", "b/c", "d", "e"}) __RegisterArray(text(name), value("{1}"));
  expectEnd(fail, "[a]<Array b/c n\xE3o foi salvo>[d]<Array d n\xE3o foi salvo>[e]\nRunTimeError = 8");
  for (int i = 0; i < 5000; ++i) __RegisterArray(text(("b" + std::to_string(i)).c_str()), value("{1}"));
  EXPECT_TRUE(runChild(fail).output.ends_with("\nRunTimeError = 8"));
}

TEST_F(FatalErrors, EveryFailingAllocationOfAScriptIsReported) {
  __EndGlobal();
  expectEnd([] { __RuntimeError(5, -1); }, "\nRunTimeError = -1");  // needs no runtime
  const auto script = [] {
    __BeginGlobal();
    Obj_Node* rows = __SET_OBJECT(variable(__INIT_NIL()), value("{{1,'b'},{2,'a'},{3,'longtext'}}"));
    __ASORT(__AClone(rows), nullptr, nullptr, nullptr, number(2));
    SETBUFFSIZE(variable(text("a")), number(100));
    RegisterBlock("b", [](Obj_Node* n) { return n; });
    __RegisterArray(text("rows"), rows);
    __const_set_amount(4);
    __SF("script");
  };
  for (long allowed = 0; allowed < 30; ++allowed)
    expectEnd([&] { vorne::allocationsLeft = allowed, script(); }, "\nRunTimeError = -1");
}

TEST_F(FatalErrors, Trace) {
  const auto fail = [] { __RuntimeError(0, 2); };
  pExit = [] { std::printf("<%s>", __GetErrorTrace()); };
  __SL(7);  // nothing to note it in
  expectEnd(fail, "<No debug info>\nRunTimeError = 2");
  for (const char* name : {"main", "detail", "ended"}) {
    __begin_context();
    __SF(name);
    __SL(65536 + 12);
  }
  __end_context(nullptr);
  __SL(13);
  EXPECT_STREQ(S_GLOB->LastCallStack->function, "detail");
  const ChildResult end = runChild(fail);
  EXPECT_EQ(end.output.find("<main(12)\ndetail(13)\n"), 0U) << end.output;
  const std::string longName(3000, 'f');
  __SF(longName.c_str());
  EXPECT_EQ(runChild(fail).status, 0);
  __SF(nullptr);
  EXPECT_NE(runChild(fail).output.find("No info->function"), std::string::npos);
}

TEST_F(FatalErrors, RegisteredArraysAreSavedAndRestored) {
  vorne::hooks.saveArray = nullptr;
  __begin_context();
  Obj_Node* cart = value("{{1,'milk'}}");
  EXPECT_EQ(describe(__RegisterArray(text("cart"), cart)), "T");
  expectAll(__RegisterArray, "'cart' {1} F  'Cart' {} T  'x' 1 F  'x' - F  - {1} F  1 {1} error");
  expectAll(ExecDumpArray, "'t' {1} F");  // nothing to save it with
  vorne::hooks.saveArray = [](const char* name, Obj_Node* array) -> bool {
    return std::printf("[%s %s]", name, describe(array).c_str()) > 0;
  };
  __AAdd(cart, value("{3}"));
  __end_context(nullptr);
  expectEnd([] { __RuntimeError(0, 1); }, "[cart {{1,'milk'},{3}}]\nRunTimeError = 1");  // empty ones are not worth it
  expectAll(ExecDumpArray, "'t' {{1}} T  't' {} F  1 {1} F  't' - F");
  __EndGlobal();
  EXPECT_EQ(pDumpArrays, nullptr);  // the next run has none
  __BeginGlobal();
  __DumpArray();
  expectAll(__RegisterArray, "'cart' {{2}} T");
  expectAll(__RestoreArray, "'cart' NIL");
  vorne::hooks.restoreArray = [](const char* name) { return value(std::string(name) == "cart" ? "{{1,'x'}}" : "-"); };
  expectAll(__RestoreArray, "'cart' {{1,'x'}}  'other' NIL");
}

TEST_F(FatalErrors, ThePublicHeaderAloneIsEnoughForAProgram) {
  EXPECT_STREQ(greeting(), "hello world");
}

}  // namespace
