// Parts of a text: __SubStr, __Left, __Right, and single characters.
#include <algorithm>

#include "builtins/new_text.h"
#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

/// What stands from `at` on, up to `count` bytes: with bCheckBuffer on those very bytes, otherwise those before the
/// first zero byte.
std::string_view slice(const Text& s, int at, int count) {
  const char* from = s.data() + at;
  const auto size = static_cast<std::size_t>(count);
  return {from, bCheckBuffer ? size : strnlen(from, size)};
}

/// The answer of __SubStr when there is nothing at the place asked for. Scripts rely on getting the whole text, and on
/// the length field that hides its last character from "=".
Obj_Node* wholeForNothing(const Text& s) {
  const int length = std::max(s.field - 1, 0);
  const int kept = bCheckBuffer ? std::max(length, s.length()) : s.length();
  return MakeText({s.data(), static_cast<std::size_t>(kept)}, length);
}

}  // namespace

Obj_Node* __SubStr(Obj_Node* s, Obj_Node* start, Obj_Node* count) {
  const Text source = TextArgument(s);
  const int length = source.field - 1;
  const int at = std::max(IntArgument(start), 1) - 1;
  const int wanted = OptionalInt(count, length);
  if (at >= length || wanted < 1) return wholeForNothing(source);
  const int taken = std::min(wanted, length - at);
  return MakeText(slice(source, at, taken), taken + 1);
}

Obj_Node* __Left(Obj_Node* s, Obj_Node* n) {
  const Text source = TextArgument(s);
  const double wanted = NumberArgument(n);
  if (!(wanted > 0)) return MakeText(source.shown);  // NaN too
  const int count = std::min(ToInt(wanted), source.length());
  return MakeText(source.shown.substr(0, static_cast<std::size_t>(count)), count + 2);
}

Obj_Node* __Right(Obj_Node* s, Obj_Node* n) {
  const Text source = TextArgument(s);
  const double wanted = NumberArgument(n);
  if (!(wanted > 0)) return MakeText(source.shown);
  const int count = std::min(ToInt(wanted), source.length());
  return MakeText(source.shown.substr(static_cast<std::size_t>(source.length() - count)), source.length() + 1);
}

Obj_Node* __Asc(Obj_Node* s) {
  return __INIT_DOUBLE(static_cast<unsigned char>(TextArgument(s).data()[0]));
}

Obj_Node* __Chr(Obj_Node* n) {
  const char code = static_cast<char>(IntArgument(n) & 0xFF);
  return MakeText({&code, 1});
}
