// How builtins make their results. The buffer is filled before a slot of the value stack is taken: in a ring with few
// free slots the new slot may be the very one that holds an argument, whose text goes at that moment.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <utility>

#include "runtime/memory.h"
#include "runtime/vorneobjs.h"

namespace vorne {

/// No text may be larger; asking for more is error 5, as running out of memory would be.
inline constexpr std::int64_t kLargestText = 0x0FFFFFFF;

struct BufferRelease {
  void operator()(char* buffer) const { Release(buffer); }
};
using TextBuffer = std::unique_ptr<char, BufferRelease>;

/// A text temporary that takes over `buffer`, with that length field.
Obj_Node* AdoptText(TextBuffer buffer, int lengthField);

/// A text under construction.
class NewText {
 public:
  /// Zeroed room for `content` bytes and their terminator, and for all that `lengthField` promises. Error 5.
  NewText(std::int64_t content, std::int64_t lengthField);

  /// Appends `part` as often as stated; all parts together must not exceed the content announced.
  NewText& Add(std::string_view part, std::int64_t times = 1);
  /// The finished temporary.
  Obj_Node* Give() { return AdoptText(std::move(buffer_), lengthField_); }

 private:
  TextBuffer buffer_;
  char* end_;
  int lengthField_;
};

/// A text temporary with `content`; length field size + 1.
Obj_Node* MakeText(std::string_view content);
/// The same with an explicit length field.
Obj_Node* MakeText(std::string_view content, std::int64_t lengthField);

}  // namespace vorne
