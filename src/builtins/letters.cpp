// Capital and small letters.
#include <algorithm>

#include "builtins/new_text.h"
#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

/// A copy of `s` in which the letters from `first` to `first` + 25 are moved by `by`. Only the plain letters change,
/// whatever locale the host has chosen: command and table names must fold the same way on every machine, and accented
/// letters are single bytes whose meaning the C library would take from that locale.
Obj_Node* changeCase(Obj_Node* s, char first, int by) {
  if (s == nullptr) return nullptr;
  const Text source = TextArgument(s);
  const std::int64_t room = std::max(source.length() + 1, source.field);
  TextBuffer buffer(static_cast<char*>(Allocate(static_cast<std::size_t>(room) + 1)));
  std::transform(source.shown.begin(), source.shown.end(), buffer.get(),
                 [first, by](char c) { return c >= first && c < first + 26 ? static_cast<char>(c + by) : c; });
  return AdoptText(std::move(buffer), source.field);
}

}  // namespace

Obj_Node* __Upper(Obj_Node* s) {
  return changeCase(s, 'a', 'A' - 'a');
}
Obj_Node* __Lower(Obj_Node* s) {
  return changeCase(s, 'A', 'a' - 'A');
}
