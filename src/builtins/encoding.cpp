// Texts on their way across the host boundary: encoding, raw buffers, the buffers that vendors write into.
#include <algorithm>
#include <cstring>

#include "builtins/new_text.h"
#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

/// A copy by the rule that holds for all copies of texts: with bCheckBuffer on as many bytes as the length field says.
Obj_Node* plainCopy(const Text& s) {
  if (!bCheckBuffer || s.field < 1) return MakeText(s.shown);
  return MakeText({s.data(), static_cast<std::size_t>(s.field) - 1}, s.field);
}

TextBuffer tryBuffer(std::size_t size) {
  return TextBuffer(static_cast<char*>(TryAllocate(size)));
}

}  // namespace

int FindLastZero(const char* buffer, int len) {
  if (buffer == nullptr) return 0;
  while (len > 0 && buffer[len - 1] != '\0') --len;
  return std::max(len, 0);
}

Obj_Node* __GetLastZero(Obj_Node* s) {
  const Text source = TextArgument(s);
  return __INIT_DOUBLE(FindLastZero(source.data(), source.field));
}

Obj_Node* __SetBuffer(const char* buffer, int len) {
  if (buffer == nullptr || len < 1) return __INIT_NIL();
  TextBuffer copy = tryBuffer(static_cast<std::size_t>(len) + 2);
  if (copy == nullptr) {
    Obj_Node* untouched = __CheckStack();
    untouched->objVarType = varNil;
    untouched->objLength = -1;
    untouched->objData = {};
    return untouched;
  }
  std::memcpy(copy.get(), buffer, static_cast<std::size_t>(len));
  return AdoptText(std::move(copy), len + 1);
}

Obj_Node* __DoEncode(Obj_Node* s) {
  const Text source = TextArgument(s);
  if (bUseEncode64 == 0) return plainCopy(source);
  // The length field counts the terminating zero, so the receiver gets a terminated text back.
  const std::int64_t size = 4 * ((std::int64_t{source.field} + 2) / 3);
  if (size > kLargestText) __RuntimeError(5, -1);
  TextBuffer encoded(Encode64(source.data(), source.field));
  if (encoded == nullptr) return nullptr;
  return AdoptText(std::move(encoded), static_cast<int>(size) + 1);
}

Obj_Node* __DoDecode(Obj_Node* s) {
  const Text source = TextArgument(s);
  if (bUseEncode64 == 0) return plainCopy(source);
  const std::int16_t context = s->objContext;
  const auto room = static_cast<std::size_t>(Decode64Size(source.length())) + 1;
  TextBuffer decoded = tryBuffer(room);
  if (decoded == nullptr) return nullptr;
  int count = 0;
  Decode64(source.data(), decoded.get(), &count);
  if (count < 1) return __INIT_NIL();
  // A padded group leaves bits behind its last byte; copies of grown buffers would carry them along.
  const auto size = static_cast<std::size_t>(count);
  std::memset(decoded.get() + size, 0, room - size);
  Obj_Node* result = AdoptText(std::move(decoded), count + 1);
  result->objContext = context;
  return result;
}

void __SetObjLength(char* buffer, int* length) {
  constexpr char kFill = '\xFF';
  if (buffer == nullptr || *length < 1 || buffer[*length - 1] != kFill) return;
  int kept = *length - 1;
  while (kept > 0 && buffer[kept - 1] == kFill) --kept;
  buffer[kept] = '\0';
  *length = kept + 1;
}
