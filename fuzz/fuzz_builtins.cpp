// Bytes choose a few builtins and their arguments, always of the right types: a wrong one ends the process by design.
// Texts may be earlier results, so that length fields that do not match their text come round again.
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <string_view>
#include <utility>

#include "builtins/vornefun.h"

namespace {

/// Input bytes; zeros once they are used up.
class Bytes {
 public:
  Bytes(const std::uint8_t* data, std::size_t size) : at_(data), left_(size) {}

  bool More() const { return left_ > 0; }
  std::uint8_t Next() {
    if (left_ == 0) return 0;
    --left_;
    return *at_++;
  }
  std::string_view Take(std::size_t size) {
    const std::size_t taken = size < left_ ? size : left_;
    const std::string_view bytes(reinterpret_cast<const char*>(at_), taken);
    at_ += taken;
    left_ -= taken;
    return bytes;
  }

 private:
  const std::uint8_t* at_;
  std::size_t left_;
};

double anyNumber(Bytes& in) {
  using Limits = std::numeric_limits<double>;
  static constexpr double kSpecial[] = {
      0.0,    -0.0,   0.5,     -0.5,      Limits::quiet_NaN(), Limits::infinity(), -Limits::infinity(), Limits::max(),
      -1e308, 5e-324, 0.49999, 99999.995, 2147483647.0,        2147483648.0,       -2147483648.0,       -2147483649.0};
  const std::uint8_t kind = in.Next();
  if (kind < 128) return kind - 16;
  if (kind < 192) return kSpecial[kind % std::size(kSpecial)];
  double v = 0;
  const std::string_view raw = in.Take(sizeof v);
  std::memcpy(&v, raw.data(), raw.size());
  return v;
}

Obj_Node* anyText(Bytes& in, Obj_Node* earlier) {
  const std::uint8_t kind = in.Next();
  const bool reuse = kind >= 224 && earlier->objVarType == varString;
  if (reuse && earlier->objLength < 1024 && std::strlen(earlier->objData.mbuff) < 1024) return earlier;
  const std::string_view content = in.Take(kind % 64);
  Obj_Node* n = __ALLOC_CHARPTR(static_cast<int>(content.size()));
  if (!content.empty()) std::memcpy(n->objData.mbuff, content.data(), content.size());
  return n;
}

/// One argument by its letter: t text, n number, w number up to 512 (a size), c number from 0 to 63, ? left out or n,
/// d date, y date of the years 1900 to 2079.
Obj_Node* argument(char letter, Bytes& in, Obj_Node* earlier) {
  switch (letter) {
    case 't':
      return anyText(in, earlier);
    case 'w': {
      const double width = anyNumber(in);
      return __INIT_DOUBLE(width > 512 ? 512 : width);
    }
    case 'y':
      return __INIT_DATE(100 + 256 * in.Next() + in.Next());
    case 'd':
      if (in.Next() % 2 == 0) return argument('y', in, earlier);
      return __INIT_DATE(anyNumber(in));
    case 'c':
      return __INIT_DOUBLE(in.Next() % 64);
    case '?':
      if (const int kind = in.Next() % 4; kind < 2) return kind == 0 ? nullptr : __INIT_NIL();
      [[fallthrough]];
    default:
      return __INIT_DOUBLE(anyNumber(in));
  }
}

struct Builtin {
  const char* arguments;
  Obj_Node* (*call)(Obj_Node** a);
};

/// Encodes three parts and extra days; a date of the years 1900 to 9999 must come back as it went in.
Obj_Node* encode(Obj_Node** a) {
  unsigned parts[3];
  for (int i = 0; i < 3; ++i) parts[i] = static_cast<unsigned>(ToInt(a[i]->objData.mdbl));
  datetime value = 0;
  if (__DoEncodeDate(parts[0], parts[1], parts[2], &value, 0) != 0 && parts[0] >= 1900) {
    unsigned year, month, day;
    __DecodeDate(value, &year, &month, &day);
    if (year != parts[0] || month != parts[1] || day != parts[2]) std::abort();
  }
  __DoEncodeDate(parts[0], parts[1], parts[2], &value, ToInt(a[3]->objData.mdbl));
  return __INIT_DATE(value);
}

Obj_Node* setDateFormat(Obj_Node** a) {
  return __Set_DateFormat(a[0]), __INIT_NIL();
}
Obj_Node* setEpoch(Obj_Node** a) {
  return __Set(__INIT_DOUBLE(5), a[0]);
}
Obj_Node* remainder(Obj_Node** a) {
  return __FMOD(a[0], __SUM(a[1], __INIT_DOUBLE(0.5)));
}

/// Arguments left out are null, as in a call without them.
template <auto Function>
Obj_Node* of(Obj_Node** a) {
  return []<class... Node>(Obj_Node* (*function)(Node * ...), Obj_Node** given) {
    return [&]<std::size_t... I>(std::index_sequence<I...>) {
      return function(given[I]...);
    }
    (std::index_sequence_for<Node...>());
  }(Function, a);
}

/// New rows go to the end: the inputs of the corpus choose by index.
const Builtin kBuiltins[] = {
    {"tn?", of<__SubStr>},    {"tn", of<__Left>},     {"tn", of<__Right>},     {"tt", of<__At>},
    {"tt", of<__Rat>},        {"t", of<__Upper>},     {"t", of<__Lower>},      {"t", of<__LTrim>},
    {"t", of<__RTrim>},       {"t", of<__AllTrim>},   {"tw", of<__PadR>},      {"twt", of<__PadR>},
    {"twt", of<__PadL>},      {"twt", of<__PadC>},    {"c", of<__Space>},      {"tc", of<__Replicate>},
    {"ttt??", of<__StrTran>}, {"tnnt", of<__Stuff>},  {"t", of<__Asc>},        {"n", of<__Chr>},
    {"n??", of<__Str>},       {"n??", of<__StrZero>}, {"t", of<__Val>},        {"t", of<__GetLastZero>},
    {"t", of<__DoEncode>},    {"t", of<__DoDecode>},  {"tt", of<__SUM>},       {"tt", of<__EQ>},
    {"tt", of<__Ctod>},       {"t", of<__Ctod>},      {"dt", of<__Dtoc>},      {"d", of<__Dtoc>},
    {"t", setDateFormat},     {"n", setEpoch},        {"nnnn", encode},        {"yc", of<__AddTod>},
    {"yc", of<__SubTod>},     {"d", of<__Dtos>},      {"d", of<__JulianDate>}, {"d", of<__CMonth>},
    {"d", of<__CDow>},        {"d", of<__GenTMS>},    {"tt", of<__ElapTime>},  {"nn", of<__Round>},
    {"nn", of<NOROUND>},      {"n", of<__Int>},       {"nc", remainder},       {"t", of<__Empty>},
    {"t", of<__Len>},         {"t", of<__IsAlpha>},   {"t", of<__ValidCPF>},   {"t", of<__ValidCGC>}};

/// Every text is terminated behind its content, whatever its length field says; a field that is one short (__SubStr)
/// has the terminator one place further on.
void check(const Obj_Node* n) {
  if (n == nullptr || n->objVarType != varString) return;
  const std::size_t shown = std::strlen(n->objData.mbuff);
  const std::size_t field = n->objLength < 1 ? 0 : static_cast<std::size_t>(n->objLength) - 1;
  const char* end = n->objData.mbuff + (shown > field ? shown : field);
  if (end[0] != '\0' && end[1] != '\0') std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Bytes in(data, size);
  const std::uint8_t switches = in.Next();
  SetCheckBuffer(switches & 1);
  SetEncode(switches & 2);
  __BeginGlobal();
  Obj_Node* earlier = __SET_OBJECT(nullptr, __INIT_NIL());
  while (in.More()) {
    const Builtin& builtin = kBuiltins[in.Next() % std::size(kBuiltins)];
    Obj_Node* arguments[5] = {};
    for (std::size_t i = 0; builtin.arguments[i] != '\0'; ++i) {
      arguments[i] = argument(builtin.arguments[i], in, earlier);
    }
    Obj_Node* result = builtin.call(arguments);
    check(result);
    if (result != nullptr && result->objVarType == varString) earlier = __SET_OBJECT(earlier, result);
  }
  __EndGlobal();
  return 0;
}
