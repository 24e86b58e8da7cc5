// Stop messages and questions on the standard streams, answered from a pipe or a closed input.
#include "screen/vornewin.h"

#include "runtime/hooks.h"
#include "support/child.h"
#include "values.h"

namespace {

class Screen : public RuntimeTest {};

/// Runs `body` in a child whose standard input holds `input`; null closes it.
ChildResult withInput(const char* input, const std::function<void()>& body) {
  return runChild([&] {
    int ends[2];
    if (input == nullptr) {
      close(STDIN_FILENO);
    } else if (pipe(ends) == 0) {
      if (write(ends[1], input, std::strlen(input)) < 0) _exit(99);
      close(ends[1]);
      dup2(ends[0], STDIN_FILENO);
    }
    body();
  });
}

TEST_F(Screen, StopMessagesEndTheProcess) {
  const std::string longText = "n\xE3o %s" + std::string(20000, 'x');
  for (const char* input : {"\n", "", static_cast<const char*>(nullptr)}) {
    const ChildResult end = withInput(input, [&] { __MsgStop(text(longText), text("Library")); });
    EXPECT_EQ(std::to_string(end.status) + end.output, "1Library\n" + longText + "\n<Enter>");
  }
  EXPECT_EQ(withInput("\n", [] { __MsgStop(text("untitled")); }).output, "untitled\n<Enter>");
  EXPECT_RUNTIME_ERROR(__MsgStop(number(1)), -1);
}

TEST_F(Screen, Questions) {
  const char* inputs[] = {"S", "s\n", "Y", "y", "N", "\n", "", nullptr};
  std::string answers;
  const auto ask = [] { std::printf("%s", describe(__MsgYesNo(text("Continue ?"), text("Sale"))).c_str()); };
  for (const char* input : inputs) {
    const ChildResult asked = withInput(input, ask);
    EXPECT_TRUE(asked.status == kCameBack && asked.output.find("Sale\nContinue ?\n") == 0) << asked.output;
    answers += asked.output.back();
  }
  EXPECT_EQ(answers, "TTTTFFFF");
}

TEST_F(Screen, AskingToSynchronise) {
  vorne::hooks.synchronise = [] { std::printf("[synchronised]"); };
  const std::string question = "Msg(139)-Nova conex\xE3o\nMsg(138)-Deseja fazer um sincronismo ?\n";
  const ChildResult yes = withInput("S", [] { rstCall(); });
  EXPECT_TRUE(yes.status == 0 && yes.output.find(question) == 0) << yes.output;
  EXPECT_NE(yes.output.find("[synchronised]"), std::string::npos);
  const ChildResult no = withInput("N", [] { std::printf("[%s]", describe(ErrSync()).c_str()); });
  EXPECT_EQ(no.output.substr(no.output.size() - 3), "[F]");
  vorne::hooks = {};
}

}  // namespace
