// Classes of the bytes of ISO-8859-1, whatever locale the host has chosen.
#include <array>

#include "builtins/vornefun.h"
#include "runtime/arguments.h"

using namespace vorne;

namespace {

enum Class : unsigned char { kUpper = 1, kLower = 2, kCaseless = 4, kLetter = kUpper | kLower | kCaseless, kDigit = 8 };

struct Range {
  unsigned char first, last;
  Class is;
};
/// The signs for multiplication and division stand amid the accented letters; ordinal indicators are letters without
/// case.
constexpr Range kRanges[] = {
    {'0', '9', kDigit},      {'A', 'Z', kUpper},   {'a', 'z', kLower},   {0xAA, 0xAA, kCaseless}, {0xB5, 0xB5, kLower},
    {0xBA, 0xBA, kCaseless}, {0xC0, 0xD6, kUpper}, {0xD8, 0xDE, kUpper}, {0xDF, 0xF6, kLower},    {0xF8, 0xFF, kLower}};

/// By byte value + 1; the first entry is that of the end-of-file mark -1.
constexpr auto kClasses = [] {
  std::array<unsigned char, 257> classes{};
  for (const Range& range : kRanges) {
    for (std::size_t byte = range.first; byte <= range.last; ++byte) classes[byte + 1] = range.is;
  }
  return classes;
}();

Obj_Node* firstIs(const Obj_Node* s, unsigned char classes) {
  return __INIT_BOOL(_sctype[static_cast<unsigned char>(TextArgument(s).data()[0])] & classes);
}

}  // namespace

const unsigned char* const _sctype = kClasses.data() + 1;

Obj_Node* __IsAlpha(Obj_Node* s) {
  return firstIs(s, kLetter);
}
Obj_Node* __IsDigit(Obj_Node* s) {
  return firstIs(s, kDigit);
}
Obj_Node* __IsUpper(Obj_Node* s) {
  return firstIs(s, kUpper);
}
Obj_Node* __IsLower(Obj_Node* s) {
  return firstIs(s, kLower);
}
