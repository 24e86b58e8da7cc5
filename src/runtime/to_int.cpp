#include "runtime/to_int.h"

#include <limits>

int ToInt(double v) {
  using Limits = std::numeric_limits<int>;
  // The language leaves open what becomes of a number out of range, and processors differ.
  if (!(v == v)) return 0;
  if (v <= Limits::min()) return Limits::min();
  if (v >= Limits::max()) return Limits::max();
  return static_cast<int>(v);
}
