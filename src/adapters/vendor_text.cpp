#include "adapters/vendor_text.h"

#include <algorithm>
#include <cstring>

#include "builtins/vornefun.h"
#include "runtime/arguments.h"

namespace vorne {

namespace {

/// The value's own length field, which is also the vendor's room; at least what decoding writes.
std::size_t givenSize(const Obj_Node* value) {
  if (IsNil(value)) return 0;
  if (!HasText(value)) ArgumentError();
  const std::size_t length = std::strlen(value->objData.mbuff);
  const std::size_t field = value->objLength > 0 ? static_cast<std::size_t>(value->objLength) : 0;
  // Both come from the host: their sum with the spare room must not wrap.
  if (length > 0x0FFFFFFF || field > 0x0FFFFFFF) __RuntimeError(5, -1);
  return std::max(field, bUseEncode64 ? std::size_t{1} : length + 1);
}

/// True when `size` bytes at `bytes` all hold the fill.
bool onlyFill(const char* bytes, std::size_t size) {
  return size == 0 || (bytes[0] == GuardedRoom::kFill && std::memcmp(bytes, bytes + 1, size - 1) == 0);
}

}  // namespace

VendorText::VendorText(const Obj_Node* value) : given_(givenSize(value)), room_(given_ + kSlack) {
  if (given_ == 0) {
    std::memset(room_.data(), 0, room_.size());
    return;
  }
  const char* text = value->objData.mbuff;
  if (bUseEncode64) {
    int count = 0;
    Decode64(text, room_.data(), &count);
  } else {
    std::memcpy(room_.data(), text, std::strlen(text) + 1);
  }
}

int VendorText::answerLength() {
  // An answer longer than the host made room for still reaches it whole.
  const bool within = onlyFill(room_.data() + given_, kSlack);
  if (within) room_.setUsed(given_);
  int length = static_cast<int>(within ? given_ : room_.size());
  // The vendor may have written less than the room: the fill behind it is no answer.
  __SetObjLength(room_.data(), &length);
  return length;
}

void VendorText::bringBack(Obj_Node* value) {
  if (given_ == 0) return;
  const int length = answerLength();
  if (!bUseEncode64) {
    __SET_OBJECT(value, __SetBuffer(room_.data(), length));
    return;
  }
  char* encoded = Encode64(room_.data(), length);
  if (encoded == nullptr) __RuntimeError(5, -1);
  Obj_Node* text = __INIT_CHARPTR(encoded);
  FreeEncode64(encoded);
  __SET_OBJECT(value, text);
}

}  // namespace vorne
