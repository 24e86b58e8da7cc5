// Stop messages and questions on the standard streams. What the library shows it prints, and waits for a key where a
// window would: hosts without a terminal give an end of input, which counts as the key.
#include <cstdio>
#include <cstring>

#include "runtime/arguments.h"
#include "runtime/hooks.h"
#include "runtime/process.h"
#include "screen/vornewin.h"

using namespace vorne;

namespace {

void showLines(const Obj_Node* title, const Obj_Node* message) {
  if (!HasText(message)) ArgumentError();
  if (HasText(title)) std::printf("%s\n", title->objData.mbuff);
  std::printf("%s\n", message->objData.mbuff);
}

bool yes(int answer) {
  return answer > 0 && std::strchr("SsYy", answer) != nullptr;
}

}  // namespace

void __MsgStop(Obj_Node* message, Obj_Node* title) {
  showLines(title, message);
  std::printf("<Enter>");
  std::fflush(stdout);
  std::getchar();
  __end_context(nullptr);
  __EndGlobal();
  // A stop message ends the process with status 1, a fatal error with 0.
  EndProcess(1);
}

Obj_Node* __MsgYesNo(Obj_Node* message, Obj_Node* title) {
  showLines(title, message);
  std::printf("(S/N)");
  std::fflush(stdout);
  return __INIT_BOOL(yes(std::getchar()));
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
