// Finding one text in another.
#include <cstring>

#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

const char* FindStr(const char* hay, int hayLen, const char* needle, int needleLen) {
  const std::int64_t places = static_cast<std::int64_t>(hayLen) - needleLen;
  if (hay == nullptr || needle == nullptr || places < 1) return nullptr;
  if (needleLen < 1) return hay;
  // One byte less than there is: the last place that would fit stays untried, which is why __At passes the
  // terminator's byte along.
  return static_cast<const char*>(
      memmem(hay, static_cast<std::size_t>(hayLen) - 1, needle, static_cast<std::size_t>(needleLen)));
}

namespace {

Obj_Node* position(const Text& s, const char* found) {
  return __INIT_DOUBLE(found == nullptr ? 0 : static_cast<double>(found - s.data() + 1));
}

/// A one-byte needle, or one that a string search could not see as a whole: its second byte is zero.
bool needsByteSearch(const Text& needle) {
  return bCheckBuffer && needle.field >= 2 && needle.data()[1] == '\0';
}

}  // namespace

Obj_Node* __At(Obj_Node* needle, Obj_Node* s) {
  const Text wanted = TextArgument(needle);
  const Text source = TextArgument(s);
  if (needsByteSearch(wanted)) {
    return position(source, FindStr(source.data(), source.field, wanted.data(), wanted.field - 1));
  }
  return position(source, std::strstr(source.data(), wanted.data()));
}

Obj_Node* __Rat(Obj_Node* needle, Obj_Node* s) {
  const Text wanted = TextArgument(needle);
  const Text source = TextArgument(s);
  if (wanted.shown.empty()) return __INIT_DOUBLE(0);
  const std::size_t found = source.shown.rfind(wanted.shown);
  return __INIT_DOUBLE(found == std::string_view::npos ? 0 : static_cast<double>(found + 1));
}
