// Stop messages and questions on the standard streams. What the library shows it prints, and waits for a key where a
// window would: hosts without a terminal give an end of input, which counts as the key.
#include <cstdio>
#include <cstring>

#include "runtime/arguments.h"
#include "runtime/hooks.h"
#include "runtime/process.h"
#include "screen/back_end.h"
#include "screen/vornewin.h"

using namespace vorne;

namespace {

// Null for none.
const char* textOf(const Obj_Node* title) {
  return HasText(title) ? title->objData.mbuff : nullptr;
}

void showLines(const char* title, const char* message) {
  if (title != nullptr) std::printf("%s\n", title);
  std::printf("%s\n", message);
}

bool askOnStreams(const char* question, const char* title) {
  showLines(title, question);
  std::printf("(S/N)");
  std::fflush(stdout);
  const int answer = std::getchar();
  return answer > 0 && std::strchr("SsYy", answer) != nullptr;
}

bool printForm(const char* title, std::span<FormField> fields, const char*, const char*) {
  std::printf("%s\n", title);
  for (const FormField& field : fields) std::printf("%s %s\n", field.label, field.text.c_str());
  return false;
}

void printLines(const char* title, int count, std::string (*line)(int number)) {
  std::printf("%s\n", title);
  for (int i = 0; i < count; ++i) std::printf("%s\n", line(i).c_str());
}

}  // namespace

const ScreenBackEnd vorne::kTextScreen = {
    [](int, int, const char*) {}, [](const char*) {}, [](const char*) {}, askOnStreams, printForm, printLines, [] {}};
ScreenBackEnd vorne::screen = kTextScreen;

void __MsgStop(Obj_Node* message, Obj_Node* title) {
  if (!HasText(message)) ArgumentError();
  showLines(textOf(title), message->objData.mbuff);
  std::printf("<Enter>");
  std::fflush(stdout);
  std::getchar();
  __end_context(nullptr);
  __EndGlobal();
  // A stop message ends the process with status 1, a fatal error with 0.
  EndProcess(1);
}

Obj_Node* __MsgYesNo(Obj_Node* message, Obj_Node* title) {
  if (!HasText(message)) ArgumentError();
  return __INIT_BOOL(screen.ask(message->objData.mbuff, textOf(title)));
}

Obj_Node* ErrSync() {
  // Each text is copied at once, since both come from the same buffer, the first into a variable, which no other
  // temporary can push out of the ring.
  Obj_Node* question = __SET_OBJECT(nullptr, __INIT_CHARPTR(__GetAuxError(138)));
  Obj_Node* title = __INIT_CHARPTR(__GetAuxError(139));
  Obj_Node* answer = __MsgYesNo(question, title);
  if (IsTrue(answer) && hooks.synchronise != nullptr) hooks.synchronise();
  return answer;
}

void rstCall() {
  ErrSync();
  EndProcess(0);
}
