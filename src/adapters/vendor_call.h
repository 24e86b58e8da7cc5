// The one calling sequence of every adapter: find the function, turn values into native arguments, call, bring back.
#pragma once

#include <array>
#include <cstddef>
#include <tuple>
#include <utility>

#include "adapters/native.h"
#include "adapters/vendor_text.h"
#include "adapters/vorneadapters.h"
#include "runtime/arguments.h"

namespace vorne {

/// One native argument, by kind: made from a value, passed to the vendor, brought back into the value.
template <Native kKind>
class NativeArgument;

template <>
class NativeArgument<Native::kInt> {
 public:
  explicit NativeArgument(const Obj_Node* value) : number_(IntArgument(value)) {}
  int native() { return number_; }
  void bringBack(Obj_Node*) {}

 private:
  int number_;
};

/// A number that the vendor may change; an absent value is a 0 whose change nobody sees.
template <typename Number>
class NumberRef {
 public:
  explicit NumberRef(const Obj_Node* value) : number_(static_cast<Number>(IsNil(value) ? 0 : IntArgument(value))) {}
  Number* native() { return &number_; }
  void bringBack(Obj_Node* value) {
    if (!IsNil(value)) __SET_OBJECT(value, __INIT_DOUBLE(number_));
  }

 private:
  Number number_;
};

template <>
class NativeArgument<Native::kIntPtr> : public NumberRef<int> {
  using NumberRef::NumberRef;
};

template <>
class NativeArgument<Native::kShortPtr> : public NumberRef<short> {
  using NumberRef::NumberRef;
};

template <>
class NativeArgument<Native::kCharPtr> {
 public:
  explicit NativeArgument(const Obj_Node* value) : text_(value) {}
  char* native() { return text_.data(); }
  void bringBack(Obj_Node* value) { text_.bringBack(value); }

 private:
  VendorText text_;
};

/// Calls `function` of `library` with one value for each kind; returns the vendor's result as a number, locked for the
/// caller. Errors 16 and 17 when it is not there, 0 for a value of the wrong type, 5.
template <Native... kKinds>
Obj_Node* CallVendor(const char* library, const char* function, std::array<Obj_Node*, sizeof...(kKinds)> values) {
  using Function = int (*)(NativeType<kKinds>...);
  __begin_context();
  for (Obj_Node* value : values) LockStack({value});
  const auto call = reinterpret_cast<Function>(VendorFunction(library, function));
  const int result = [&]<std::size_t... kIndex>(std::index_sequence<kIndex...>) {
    std::tuple<NativeArgument<kKinds>...> arguments{values[kIndex]...};
    const int answer = call(std::get<kIndex>(arguments).native()...);
    (std::get<kIndex>(arguments).bringBack(values[kIndex]), ...);
    return answer;
  }
  (std::make_index_sequence<sizeof...(kKinds)>{});
  return __end_context(__INIT_DOUBLE(result));
}

}  // namespace vorne
