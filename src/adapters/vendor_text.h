// A text on its way to a vendor function and back. Texts arrive encoded; the vendor gets plain bytes in a buffer whose
// rest is filled with 0xFF, which shows afterwards how far it wrote.
#pragma once

#include <optional>

#include "adapters/guarded_room.h"
#include "runtime/vorneobjs.h"

namespace vorne {

class VendorText {
 public:
  /// Bytes that a vendor may write past the room it was given without harm.
  static constexpr std::size_t kSlack = 32768;

  /// `value` is an encoded text, or NIL: then the vendor gets kSlack zeroed bytes that are thrown away. Error 0, 5.
  explicit VendorText(const Obj_Node* value);

  char* data() const { return room_.data(); }
  /// Stores what the buffer now holds into `value`, encoded. Nothing happens for NIL. Error 5.
  void bringBack(Obj_Node* value);

 private:
  /// Bytes of the answer: the room's size without the fill behind what the vendor wrote.
  int answerLength();

  std::size_t given_;  // bytes that the value's length field stands for; 0 for NIL
  GuardedRoom room_;
};

}  // namespace vorne
