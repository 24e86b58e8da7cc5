// A program as its developers write it: this header alone, and every warning that they may have switched on.
#include "vorne.h"

const char* greeting();

const char* greeting() {
  __begin_context();
  Obj_Node* name = __SET_OBJECT(nullptr, __INIT_NIL());
  name = __SET_OBJECT(name, __SUM(__INIT_CHARPTR("hello "), __AllTrim(__INIT_CHARPTR("  world "))));
  __LockStack(name, __INIT_NUL());
  return __end_context(name)->objData.mbuff;
}
