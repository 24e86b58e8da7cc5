// How a fatal error ends the process, and the arrays that it saves. Each end happens in a child process.
#include "runtime/hooks.h"
#include "support/child.h"
#include "values.h"

const char* greeting();

namespace {

class FatalErrors : public RuntimeTest {
 protected:
  void TearDown() override {
    vorne::hooks = {};
    pExit = nullptr;
    RuntimeTest::TearDown();
  }
};

void expectEnd(const std::function<void()>& body, const std::string& printed) {
  const ChildResult end = runChild(body);
  EXPECT_EQ(end.status, 0);
  EXPECT_EQ(end.output, printed);
}

TEST_F(FatalErrors, PrintTheAuxiliaryNumber) {
  expectEnd([] { __RuntimeError(0, -1); }, "\nRunTimeError = -1");
  expectEnd([] { __RuntimeError(16, 133); }, "\nRunTimeError = 133");
  expectEnd([] { __RuntimeError(99, 0); }, "\nRunTimeError = 0");
}

TEST_F(FatalErrors, CallTheExitFunctionThenCloseTheTables) {
  EXPECT_EQ(describe(__RegisterExit([] {
              char message[2048];
              GetError(message, 1);
              std::printf("[%s]", message);
            })),
            "F");
  EXPECT_EQ(describe(__RegisterExit(nullptr)), "F");  // keeps the function
  vorne::hooks.closeWorkAreas = [] { std::printf("[tables]"); };
  expectEnd([] { __RuntimeError(1, 134); },
            "[BOUND ERROR!\nMsg(134)-Fun\xE7\xE3o n\xE3o encontrada.][tables]\nRunTimeError = 134");
  expectEnd([] { __RuntimeError(1, -1); }, "[BOUND ERROR!][tables]\nRunTimeError = -1");
}

TEST_F(FatalErrors, RaisedAgainGoStraightToTheEnd) {
  const auto fail = [] { __RuntimeError(1, 8); };
  pExit = [] { __RuntimeError(0, 7); };
  expectEnd(fail, "\nRunTimeError = 7");
  pExit = [] { number(1); };  // the ring is full, which was the error's cause
  expectEnd(
      [] {
        while (true) __LockStack(number(1), __INIT_NUL());
      },
      "\nRunTimeError = -1");
  pExit = nullptr;
  vorne::hooks.closeWorkAreas = [] { __ARRAY_EL(value("{}"), number(1), __INIT_NUL()); };
  expectEnd(fail, "\nRunTimeError = -1");
  vorne::hooks.saveArray = [](const char*, Obj_Node*) -> bool { __RuntimeError(5, 9); };
  __RegisterArray(text("a"), value("{1}"));
  expectEnd(fail, "\nRunTimeError = 9");
}

/// Runs `body` with one more allocation granted each time, until it comes back; returns how many that takes.
long walkFailingAllocations(const std::function<void()>& body) {
  for (long allowed = 0; allowed < 500; ++allowed) {
    const ChildResult end = runChild([&] {
      vorne::allocationsLeft = allowed;
      body();
    });
    if (end.status == kCameBack) return allowed;
    EXPECT_EQ(end.status, 0) << allowed;
    EXPECT_EQ(end.output, "\nRunTimeError = -1") << allowed;
  }
  return -1;
}

TEST_F(FatalErrors, NeedNoRuntime) {
  __EndGlobal();
  expectEnd([] { __RuntimeError(5, -1); }, "\nRunTimeError = -1");
  EXPECT_GT(walkFailingAllocations([] { __BeginGlobal(); }), 8);
}

TEST_F(FatalErrors, EveryFailingAllocationOfAScriptIsReported) {
  const long needed = walkFailingAllocations([] {
    __begin_context();
    Obj_Node* rows = __SET_OBJECT(variable(__INIT_NIL()), value("{{1,'b'},{2,'a'},{3,'longtext'}}"));
    __ASORT(__AClone(rows), nullptr, nullptr, nullptr, number(2));
    Obj_Node* all = variable(__INIT_CHARPTR(""));
    all = __SET_OBJECT(all, __SUM(all, __ARRAY_EL(rows, number(1), number(2), __INIT_NUL())));
    SETBUFFSIZE(all, number(100));
    __Set(number(4), text("dd/mm/yyyy"));
    RegisterBlock("b", [](Obj_Node* n) { return n; });
    __RegisterArray(text("rows"), rows);
    __const_set_amount(4);
    __SF("script");
    __end_context(all);
  });
  EXPECT_GT(needed, 30);
}

TEST_F(FatalErrors, Trace) {
  const auto fail = [] { __RuntimeError(0, 2); };
  pExit = [] { std::printf("<%s>", __GetErrorTrace()); };
  expectEnd(fail, "<No debug info>\nRunTimeError = 2");
  __begin_context();
  __SF("main");
  __SL(12);
  __begin_context();
  __SF("detail");
  __SL(34);
  expectEnd(fail, "<main(12)\ndetail(34)\ndetail(34)\n>\nRunTimeError = 2");
  const std::string longName(3000, 'f');
  __SF(longName.c_str());
  const ChildResult end = runChild(fail);
  EXPECT_EQ(end.status, 0);
  __SF(nullptr);
  EXPECT_NE(runChild(fail).output.find("No info->function"), std::string::npos);
}

std::string saved;

bool saveArray(const char* name, Obj_Node* array) {
  saved += std::string(name) + "=" + describe(array) + ";";
  return true;
}

TEST_F(FatalErrors, RegisteredArraysAreSaved) {
  saved.clear();
  vorne::hooks.saveArray = saveArray;
  __DumpArray();
  __begin_context();
  Obj_Node* cart = value("{{1,'milk'}}");
  const char* table = "'cart' {1} F  'Cart' {} T  'x' 1 F  'x' - F  - {1} F";
  EXPECT_EQ(describe(__RegisterArray(text("cart"), cart)), "T");
  for (const auto& row : rows(table, 3)) {
    EXPECT_EQ(describe(__RegisterArray(value(row[0]), value(row[1]))), row[2]) << row[0] << row[1];
  }
  EXPECT_RUNTIME_ERROR(__RegisterArray(number(1), cart), -1);
  __AAdd(cart, value("{3}"));
  __end_context(nullptr);
  __DumpArray();
  EXPECT_EQ(saved, "cart={{1,'milk'},{3}};");  // empty ones are not worth it
  for (const auto& row : rows("'t' {{1}} T  't' {} F  1 {1} F  't' - F", 3)) {
    EXPECT_EQ(describe(ExecDumpArray(value(row[0]), value(row[1]))), row[2]) << row[0] << row[1];
  }
  vorne::hooks.saveArray = [](const char* name, Obj_Node* array) -> bool {
    return std::printf("[%s %s]", name, describe(array).c_str()) > 0;
  };
  expectEnd([] { __RuntimeError(0, 1); }, "[cart {{1,'milk'},{3}}]\nRunTimeError = 1");
  vorne::hooks.saveArray = nullptr;
  EXPECT_EQ(describe(ExecDumpArray(text("t"), value("{1}"))), "F");
  __EndGlobal();
  EXPECT_EQ(pDumpArrays, nullptr);  // the next run has none
  __BeginGlobal();
  EXPECT_EQ(describe(__RegisterArray(text("cart"), value("{{2}}"))), "T");
}

TEST_F(FatalErrors, Restoring) {
  EXPECT_EQ(describe(__RestoreArray(text("cart"))), "NIL");
  vorne::hooks.restoreArray = [](const char* name) { return value(std::string(name) == "cart" ? "{{1,'x'}}" : "-"); };
  EXPECT_EQ(describe(__RestoreArray(text("cart"))), "{{1,'x'}}");
  EXPECT_EQ(describe(__RestoreArray(text("other"))), "NIL");
}

TEST_F(FatalErrors, ThePublicHeaderAloneIsEnoughForAProgram) {
  EXPECT_STREQ(greeting(), "hello world");
}

}  // namespace
