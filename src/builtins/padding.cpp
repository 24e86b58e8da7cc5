// Making texts longer: padding, blanks, repetition.
#include "builtins/padding.h"

#include <algorithm>

#include "builtins/new_text.h"
#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

std::int64_t sizeOf(std::string_view s) {
  return static_cast<std::int64_t>(s.size());
}

}  // namespace

Obj_Node* vorne::PadLeft(std::string_view s, int width, std::string_view pad) {
  if (sizeOf(s) >= width) return MakeText(s);
  const std::int64_t times = width - sizeOf(s);
  // Room for the text as it becomes; a pad of several characters makes it longer than the length field tells.
  return NewText(times * sizeOf(pad) + sizeOf(s), sizeOf(s) + width + 2).Add(pad, times).Add(s).Give();
}

Obj_Node* __PadR(Obj_Node* s, Obj_Node* width, Obj_Node* pad) {
  const Text source = TextArgument(s);
  const int wanted = IntArgument(width);
  const std::string_view fill = IsMissing(pad) ? " " : TextArgument(pad).shown;
  if (source.length() >= wanted || fill.empty()) return MakeText(source.shown);
  // Whole pads only, so the last one may reach beyond the width.
  const std::int64_t times = (wanted - source.length() + sizeOf(fill) - 1) / sizeOf(fill);
  return NewText(source.length() + times * sizeOf(fill), wanted + std::int64_t{1})
      .Add(source.shown)
      .Add(fill, times)
      .Give();
}

Obj_Node* __Pad(Obj_Node* s, Obj_Node* width, Obj_Node* pad) {
  return __PadR(s, width, pad);
}

Obj_Node* __PadL(Obj_Node* s, Obj_Node* width, Obj_Node* pad) {
  const Text source = TextArgument(s);
  const int wanted = IntArgument(width);
  return PadLeft(source.shown, wanted, TextArgument(pad).shown);
}

Obj_Node* __PadC(Obj_Node* s, Obj_Node* width, Obj_Node* pad) {
  const Text source = TextArgument(s);
  const int wanted = IntArgument(width);
  const std::string_view fill = TextArgument(pad).shown;
  if (source.length() >= wanted) return MakeText(source.shown);
  // No centring: printed layouts depend on the pad standing once, in the middle of the width.
  const auto head = static_cast<std::size_t>(std::min((wanted - 1) / 2, source.length()));
  return NewText(source.length() + sizeOf(fill), wanted + std::int64_t{1})
      .Add(source.shown.substr(0, head))
      .Add(fill)
      .Add(source.shown.substr(head))
      .Give();
}

Obj_Node* __Space(Obj_Node* n) {
  const int count = IntArgument(n);
  if (count < 0) __RuntimeError(5, -1);
  return NewText(count, count + std::int64_t{1}).Add(" ", count).Give();
}

Obj_Node* __Replicate(Obj_Node* s, Obj_Node* n) {
  const Text source = TextArgument(s);
  const std::int64_t times = std::max(IntArgument(n), 0);
  return NewText(times * source.length(), times * (source.length() + 1) + 1).Add(source.shown, times).Give();
}
