// Replacing parts of a text.
#include <algorithm>
#include <cstring>

#include "builtins/new_text.h"
#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

/// A missing buffer of the replacement counts as the empty text.
std::string_view replacementText(const Obj_Node* n) {
  const bool withoutBuffer = n != nullptr && n->objVarType == varString && n->objData.mbuff == nullptr;
  return withoutBuffer ? std::string_view() : TextArgument(n).shown;
}

/// The next place of `search` in `s` from `from` on; npos when there is none.
std::size_t find(const Text& s, const Text& search, std::size_t from) {
  const char* found = std::strstr(s.data() + from, search.data());
  return found == nullptr ? std::string_view::npos : static_cast<std::size_t>(found - s.data());
}

/// How often `search` stands in `s` from `from` on, each place counted once; 0 or 1 when `onlyFirst`.
std::int64_t countPlaces(const Text& s, const Text& search, std::size_t from, bool onlyFirst) {
  std::int64_t places = 0;
  for (std::size_t at = find(s, search, from); at != std::string_view::npos;
       at = find(s, search, at + search.shown.size())) {
    ++places;
    if (onlyFirst) break;
  }
  return places;
}

}  // namespace

Obj_Node* __StrTran(Obj_Node* s, Obj_Node* search, Obj_Node* repl, Obj_Node* start, Obj_Node* count) {
  const Text source = TextArgument(s);
  const Text wanted = TextArgument(search);
  const std::string_view instead = replacementText(repl);
  const int first = std::max(OptionalInt(start, 1), 1) - 1;
  // The count never limits anything; only its sign says "the first one and no more".
  const bool onlyFirst = OptionalInt(count, source.length()) < 0;
  if (wanted.shown.empty() || first >= source.field || first > source.length()) return MakeText(source.shown);

  auto from = static_cast<std::size_t>(first);
  const std::int64_t places = countPlaces(source, wanted, from, onlyFirst);
  const auto growth = static_cast<std::int64_t>(instead.size()) - wanted.length();
  const std::int64_t size = source.length() + places * growth;
  NewText result(size, size + 1);
  std::size_t copied = 0;
  for (std::int64_t i = 0; i < places; ++i) {
    const std::size_t at = find(source, wanted, from);
    result.Add(source.shown.substr(copied, at - copied)).Add(instead);
    from = copied = at + wanted.shown.size();
  }
  return result.Add(source.shown.substr(copied)).Give();
}

Obj_Node* __Stuff(Obj_Node* s, Obj_Node* start, Obj_Node* del, Obj_Node* ins) {
  const Text source = TextArgument(s);
  const int kept = IntArgument(start);
  const int dropped = IntArgument(del);
  const Text inserted = TextArgument(ins);
  if (kept >= source.field || dropped >= source.field) return nullptr;
  const int head = std::clamp(kept, 0, source.length());
  const int tail = head + std::clamp(dropped, 0, source.length() - head);
  const std::int64_t size = std::int64_t{head} + inserted.length() + source.length() - tail;
  return NewText(size, size + 1)
      .Add(source.shown.substr(0, static_cast<std::size_t>(head)))
      .Add(inserted.shown)
      .Add(source.shown.substr(static_cast<std::size_t>(tail)))
      .Give();
}
