// Taking blanks off a text. Only the space character is a blank.
#include "builtins/new_text.h"
#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

std::string_view withoutLeading(std::string_view s) {
  const std::size_t first = s.find_first_not_of(' ');
  return first == std::string_view::npos ? std::string_view() : s.substr(first);
}

std::string_view withoutTrailing(std::string_view s) {
  return s.substr(0, s.find_last_not_of(' ') + 1);
}

}  // namespace

Obj_Node* __LTrim(Obj_Node* s) {
  return MakeText(withoutLeading(TextArgument(s).shown));
}

Obj_Node* __RTrim(Obj_Node* s) {
  const std::string_view source = TextArgument(s).shown;
  const std::string_view kept = withoutTrailing(source);
  // The first character stays whatever it is: scripts take the blank that is left of a blank text for "filled in".
  return MakeText(kept.empty() ? source.substr(0, 1) : kept);
}

Obj_Node* __AllTrim(Obj_Node* s) {
  return MakeText(withoutTrailing(withoutLeading(TextArgument(s).shown)));
}
