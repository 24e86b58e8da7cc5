// The two switches of text handling, for the host and for scripts.
#include "runtime/internal.h"

using namespace vorne;

extern "C" {
__attribute__((visibility("default"))) void SetCheckBuffer(short on) {
  bCheckBuffer = on != 0;
}
__attribute__((visibility("default"))) void SetEncode(short on) {
  bUseEncode64 = on != 0;
}
}

namespace {

Obj_Node* setSwitch(Boolean& target, Obj_Node* lgc) {
  if (!IsLogical(lgc)) ArgumentError();
  target = lgc->objData.mbool != 0;
  return lgc;
}

}  // namespace

Obj_Node* __SetCheckBuffer(Obj_Node* lgc) {
  return setSwitch(bCheckBuffer, lgc);
}
Obj_Node* __SetEncode(Obj_Node* lgc) {
  return setSwitch(bUseEncode64, lgc);
}
