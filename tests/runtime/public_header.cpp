// A program as its developers write it: this header alone, and every warning that they may have switched on.
#include "vorne.h"

const char* greeting();

namespace {

// Names that programs use beside the calls, each with its type.
struct {
  char* message = error_aux;
  const char* const* errors = stringErros.data();
  const char* const* texts[3] = {stringMsgErros.data(), stringMsgErrosEng.data(), stringMsgErrosSpa.data()};
  std::FILE** log = &pLogFile;
  HMODULE library = nullptr;
  short (*killElements)(Arrays*) = __KillArrayEl;
  Obj_Node* (*newElement)(Obj_Node*, Obj_Node*) = __NewArrayElement;
  Obj_Node* (*registerExit)(void*) = __RegisterExit;
  int (*host)(int, char*, char*, int) = ExecInClientDLL;
  Obj_Node* (*dispatcher)(Obj_Node*, Obj_Node*, Obj_Node*, Obj_Node*) = TELLIRA;
} used;

}  // namespace

const char* greeting() {
  __begin_context();
  Obj_Node* name = __SET_OBJECT(nullptr, __INIT_NIL());
  name = __SET_OBJECT(name, __SUM(__INIT_CHARPTR("hello "), __AllTrim(__INIT_CHARPTR("  world "))));
  __LockStack(name, __INIT_NUL());
  const bool shown = used.errors[0][0] == 'A' && used.texts[1][81][0] == 'T' && __DateTimeToTimeStamp(1.5) == 693595;
  return shown ? __end_context(name)->objData.mbuff : "";
}
