// Arithmetic, comparison and logical operators. A missing operand stands for a neutral value (1, NIL, true), since
// scripts call operators with fewer arguments than they take.
#include <cmath>
#include <cstring>

#include "runtime/calendar.h"
#include "runtime/internal.h"
#include "runtime/memory.h"

using namespace vorne;

namespace {

Obj_Node* orOne(Obj_Node* n) {
  return n != nullptr ? n : SharedValue(kOne);
}
Obj_Node* orNil(Obj_Node* n) {
  return n != nullptr ? n : SharedValue(kNil);
}
Obj_Node* orTrue(Obj_Node* n) {
  return n != nullptr ? n : SharedValue(kTrue);
}

Obj_Node* concatenate(const Obj_Node* a, const Obj_Node* b) {
  if (!HasText(a) || !HasText(b)) ArgumentError();
  const std::int64_t first = ContentLength(a);
  const std::int64_t second = ContentLength(b);
  // The largest text of the runtime; the sum of two lengths is made in 64 bits.
  if (first + second > 0x0FFFFFFF) __RuntimeError(5, -1);
  auto* sum = static_cast<char*>(Allocate(static_cast<std::size_t>(first + second) + 2));
  std::memcpy(sum, a->objData.mbuff, static_cast<std::size_t>(first));
  std::memcpy(sum + first, b->objData.mbuff, static_cast<std::size_t>(second));
  return TextTemporary(sum, static_cast<std::int32_t>(first + second) + 1);
}

/// Texts of the language's "=": the first n - 1 bytes, n being the smaller length field. An empty operand (n of 1)
/// matches nothing, which scripts rely on.
bool sameStart(const Obj_Node* a, const Obj_Node* b) {
  if (!HasText(a) || !HasText(b)) return false;
  const std::int32_t n = a->objLength < b->objLength ? a->objLength : b->objLength;
  return n > 1 && std::strncmp(a->objData.mbuff, b->objData.mbuff, static_cast<std::size_t>(n) - 1) == 0;
}

bool sameText(const Obj_Node* a, const Obj_Node* b) {
  return HasText(a) && HasText(b) && std::strcmp(a->objData.mbuff, b->objData.mbuff) == 0;
}

Obj_Node* equal(Obj_Node* a, Obj_Node* b, bool (*textsEqual)(const Obj_Node*, const Obj_Node*)) {
  a = orNil(a);
  b = orNil(b);
  if (IsNil(b)) return Logical(IsNil(a));
  if (a->objVarType != b->objVarType) ArgumentError();
  switch (a->objVarType) {
    case varString:
      return Logical(textsEqual(a, b));
    case varNumber:
    case varDate:
      return Logical(a->objData.mdbl == b->objData.mdbl);
    case varBool:
      return Logical((a->objData.mbool != 0) == (b->objData.mbool != 0));
    default:
      ArgumentError();
  }
}

enum class Order { kLess, kEqual, kGreater, kNone };

Order order(Obj_Node* a, Obj_Node* b) {
  a = orOne(a);
  b = orOne(b);
  if (a->objVarType != b->objVarType) ArgumentError();
  if (IsNumber(a) || IsDate(a)) {
    const double x = a->objData.mdbl;
    const double y = b->objData.mdbl;
    return x < y ? Order::kLess : x > y ? Order::kGreater : x == y ? Order::kEqual : Order::kNone;
  }
  if (!HasText(a) || !HasText(b)) ArgumentError();
  const int sign = std::strcmp(a->objData.mbuff, b->objData.mbuff);
  return sign < 0 ? Order::kLess : sign > 0 ? Order::kGreater : Order::kEqual;
}

bool logicalOrFail(const Obj_Node* n) {
  if (!IsLogical(n)) ArgumentError();
  return n->objData.mbool != 0;
}

Obj_Node* daysLater(const Obj_Node* date, double days) {
  const std::optional<datetime> sum = EncodeDate(DecodeDate(date->objData.mdt), ToInt(days));
  // 0 is the empty date, which nothing can be added to and no sum may become.
  if (!sum || *sum == 0) ArgumentError();
  return __INIT_DATE(*sum);
}

// Constants and shared values stay what they are, as when they are assigned to: the whole program has them.
Obj_Node* step(Obj_Node* a, double by) {
  NumberArgument(a);
  if (a->objType != vConst && a->objType != vRetval) a->objData.mdbl += by;
  return a;
}

Obj_Node* stepAfter(Obj_Node* a, double by) {
  Obj_Node* old = __INIT_DOUBLE(NumberArgument(a));
  step(a, by);
  return old;
}

}  // namespace

Obj_Node* __SUM(Obj_Node* a, Obj_Node* b) {
  a = orOne(a);
  b = orOne(b);
  switch (a->objVarType) {
    case varDate:
      return __AddTod(a, b);
    case varNumber:
      return __INIT_DOUBLE(a->objData.mdbl + NumberArgument(b));
    case varString:
      return concatenate(a, b);
    default:
      return nullptr;  // no error: scripts test the result
  }
}

Obj_Node* __SUB(Obj_Node* a, Obj_Node* b) {
  a = orOne(a);
  b = orOne(b);
  if (IsDate(a)) return __SubTod(a, b);
  return __INIT_DOUBLE(NumberArgument(a) - NumberArgument(b));
}

Obj_Node* __MUL(Obj_Node* a, Obj_Node* b) {
  const double x = NumberArgument(orOne(a));
  return __INIT_DOUBLE(x * NumberArgument(orOne(b)));
}

Obj_Node* __DIV(Obj_Node* a, Obj_Node* b) {
  const double x = NumberArgument(orOne(a));
  const double y = NumberArgument(orOne(b));
  // No error, although there is a text for one: scripts in the field go on with the 0.
  return __INIT_DOUBLE(y == 0 ? y : x / y);
}

Obj_Node* __AddTod(Obj_Node* date, Obj_Node* days) {
  if (!IsDate(date)) ArgumentError();
  return daysLater(date, NumberArgument(days));
}

Obj_Node* __SubTod(Obj_Node* a, Obj_Node* b) {
  if (!IsDate(a)) ArgumentError();
  if (IsDate(b)) return __INIT_DOUBLE(a->objData.mdt - b->objData.mdt);
  return daysLater(a, -NumberArgument(b));
}

Obj_Node* __EQ(Obj_Node* a, Obj_Node* b) {
  return equal(a, b, sameStart);
}
Obj_Node* __EEQ(Obj_Node* a, Obj_Node* b) {
  return equal(a, b, sameText);
}

Obj_Node* __LS(Obj_Node* a, Obj_Node* b) {
  return Logical(order(a, b) == Order::kLess);
}
Obj_Node* __GT(Obj_Node* a, Obj_Node* b) {
  return Logical(order(a, b) == Order::kGreater);
}

Obj_Node* __LSE(Obj_Node* a, Obj_Node* b) {
  const Order o = order(a, b);
  return Logical(o == Order::kLess || o == Order::kEqual);
}

Obj_Node* __GTE(Obj_Node* a, Obj_Node* b) {
  const Order o = order(a, b);
  return Logical(o == Order::kGreater || o == Order::kEqual);
}

Obj_Node* __AND(Obj_Node* a, Obj_Node* b) {
  const bool x = logicalOrFail(orTrue(a));
  return Logical(logicalOrFail(orTrue(b)) && x);
}

Obj_Node* __OR(Obj_Node* a, Obj_Node* b) {
  const bool x = logicalOrFail(orTrue(a));
  return Logical(logicalOrFail(orTrue(b)) || x);
}

Obj_Node* __INV(Obj_Node* a) {
  if (IsNil(a)) return SharedValue(kTrue);
  if (IsLogical(a)) return Logical(a->objData.mbool == 0);
  return __INIT_DOUBLE(-NumberArgument(a));
}

Obj_Node* __PREINCREMENT(Obj_Node* a) {
  return step(a, 1);
}
Obj_Node* __PREDECREMENT(Obj_Node* a) {
  return step(a, -1);
}
Obj_Node* __POSTINCREMENT(Obj_Node* a) {
  return stepAfter(a, 1);
}
Obj_Node* __POSTDECREMENT(Obj_Node* a) {
  return stepAfter(a, -1);
}

double dblRound(double v, int decimals) {
  constexpr double kHalf = 0.49999999999999;  // a hair below one half still rounds up
  const double p = std::pow(10.0, decimals);
  double x = std::fabs(v) * p;
  if (x - std::floor(x) >= kHalf) x += 1;
  x = std::floor(x) / p;
  return v < 0 ? -x : x;
}
