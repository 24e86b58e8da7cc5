// The buffers behind text values: room, copies, growth. A text is a buffer and a length field. The field counts the
// terminating zero and is often larger than the text, since vendors write into the room behind it; room is made for the
// larger of the two.
#include <cstring>

#include "runtime/internal.h"
#include "runtime/memory.h"

using namespace vorne;

namespace vorne {

void FreeText(Obj_Node* n) {
  if (n->objVarType != varString) return;
  if (n->objType != vConst && n->objType != vRetval) Release(n->objData.mbuff);
  n->objData.mbuff = nullptr;
  n->objLength = n->objType == vRegister ? 0 : -1;
}

std::size_t TextRoom(const Obj_Node* text) {
  // The length field may be smaller than the text (padding wider than its width) or count no terminator.
  const std::size_t byField = text->objLength > 0 ? static_cast<std::size_t>(text->objLength) : 0;
  const std::size_t byText = std::strlen(text->objData.mbuff);
  return (byField > byText ? byField : byText) + 1;
}

char* CopyText(const Obj_Node* text) {
  auto* copy = static_cast<char*>(Allocate(TextRoom(text)));
  const char* bytes = text->objData.mbuff;
  if (bCheckBuffer && text->objLength > 0) {
    std::memcpy(copy, bytes, static_cast<std::size_t>(text->objLength));
  } else {
    std::memcpy(copy, bytes, std::strlen(bytes));
  }
  return copy;
}

}  // namespace vorne

int ContentLength(const Obj_Node* text) {
  if (!HasText(text)) return 0;
  const char* bytes = text->objData.mbuff;
  if (!bCheckBuffer || text->objLength < 1) return static_cast<int>(std::strlen(bytes));
  // Nothing but zero bytes behind the first one is fill (a grown buffer, a field padded wider than its text); any other
  // byte there is content, and then all of it is.
  const int length = text->objLength - 1;
  const int visible = static_cast<int>(std::strlen(bytes));
  if (visible >= length) return length;
  for (int i = visible; i < length; ++i) {
    if (bytes[i] != '\0') return length;
  }
  return visible;
}

void SETBUFFSIZE(Obj_Node* str, Obj_Node* n) {
  if (str == nullptr || n == nullptr) return;
  if (!IsText(str)) ArgumentError();
  const int size = IntArgument(n);
  // A constant points at literal text that is not ours to free or to change.
  if (str->objType == vConst || str->objType == vRetval) return;
  if (size > 32767 || size < 1 || size < str->objLength) return;
  auto* grown = static_cast<char*>(Allocate(static_cast<std::size_t>(size) + 2));
  if (str->objData.mbuff != nullptr) {
    const std::size_t room = TextRoom(str);
    std::memcpy(grown, str->objData.mbuff,
                room < static_cast<std::size_t>(size) ? room : static_cast<std::size_t>(size));
    Release(str->objData.mbuff);
  }
  str->objData.mbuff = grown;
  str->objLength = size + 1;
}

std::uint32_t ELFHash(const unsigned char* s, int len) {
  if (s == nullptr) return 0;
  std::uint32_t h = 0;
  for (int i = 0; i < len; ++i) {
    // Only A to Z: the host's locale must not change where a name is found.
    const unsigned char c = s[i] >= 'A' && s[i] <= 'Z' ? static_cast<unsigned char>(s[i] + 32) : s[i];
    h = (h << 4) + c;
    const std::uint32_t top = h & 0xF0000000U;
    if (top != 0) h ^= top >> 24;
    h &= ~top;
  }
  return h;
}
