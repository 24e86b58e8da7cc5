// Rounding, remainders, the smaller and the greater of two values.
#include <cmath>

#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

/// Refuses two values that Min and Max cannot compare.
void checkPair(const Obj_Node* a, const Obj_Node* b) {
  if (a == nullptr || b == nullptr || a->objVarType != b->objVarType) ArgumentError();
  if (a->objVarType != varNumber && a->objVarType != varDate) ArgumentError();
}

/// Whatever its type: programs that read binary files hand on what they got.
Obj_Node* sameNumber(const Obj_Node* n) {
  if (n == nullptr) ArgumentError();
  return __INIT_DOUBLE(n->objData.mdbl);
}

}  // namespace

Obj_Node* __Round(Obj_Node* n, Obj_Node* d) {
  return __INIT_DOUBLE(dblRound(NumberArgument(n), IntArgument(d)));
}

Obj_Node* NOROUND(Obj_Node* n, Obj_Node* d) {
  static_assert(StringFromDoubleSize(kScratchSize) <= kScratchSize);
  __GetStringFromDouble(S_GLOB->mTmp, NumberArgument(n), IntArgument(d), 0);
  return __Val(__INIT_CHARPTR(S_GLOB->mTmp));
}

Obj_Node* __Int(Obj_Node* n) {
  // To one decimal first, as always: 2.96 is 3, and totals in the field were counted that way.
  const double rounded = dblRound(NumberArgument(n), 1);
  return __INIT_DOUBLE(rounded > 0 ? std::floor(rounded) : std::ceil(rounded));
}

Obj_Node* __Abs(Obj_Node* n) {
  return __INIT_DOUBLE(std::fabs(NumberArgument(n)));
}

Obj_Node* __FMOD(Obj_Node* a, Obj_Node* b) {
  const double dividend = NumberArgument(a);
  const double divisor = NumberArgument(b);
  if (divisor == 0) ArgumentError();
  return __INIT_DOUBLE(std::fmod(dividend, divisor));
}

Obj_Node* __Min(Obj_Node* a, Obj_Node* b) {
  checkPair(a, b);
  return a->objData.mdbl < b->objData.mdbl ? a : b;
}

Obj_Node* __Max(Obj_Node* a, Obj_Node* b) {
  checkPair(a, b);
  return a->objData.mdbl > b->objData.mdbl ? a : b;
}

Obj_Node* __Bin2I(Obj_Node* n) {
  return sameNumber(n);
}
Obj_Node* __Bin2L(Obj_Node* n) {
  return sameNumber(n);
}
Obj_Node* __Bin2W(Obj_Node* n) {
  return sameNumber(n);
}
Obj_Node* __I2Bin(Obj_Node* n) {
  return sameNumber(n);
}
Obj_Node* __L2Bin(Obj_Node* n) {
  return sameNumber(n);
}
Obj_Node* __W2Bin(Obj_Node* n) {
  return sameNumber(n);
}
