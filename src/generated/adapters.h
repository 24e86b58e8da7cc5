// The adapters, made from the command table: SWEDA_001 and so on are functions that take one script value for each
// vendor argument and return the vendor's result as a number. Numbers are passed truncated, texts arrive encoded (see
// SetEncode) and are replaced by what the vendor left in them, NIL stands for an absent argument. Errors as CallVendor.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "adapters/vendor_call.h"
#include "generated/arguments.h"

namespace generated {

/// A function name that can be a template argument.
template <std::size_t kSize>
struct FixedText {
  char text[kSize]{};
  constexpr FixedText(const char (&s)[kSize]) { std::copy_n(s, kSize, text); }
};

template <const char* kLibrary, FixedText kFunction, ArgList kArguments>
struct Adapter {
  template <std::size_t>
  using Value = Obj_Node*;

  template <std::size_t... kIndex>
  struct Calling {
    static Obj_Node* call(Value<kIndex>... values) {
      return vorne::CallVendor<nativeKind(kArguments[kIndex].kind)...>(
          kLibrary, kFunction.text, std::array<Obj_Node*, sizeof...(kIndex)>{values...});
    }
  };

  template <std::size_t... kIndex>
  static consteval auto function(std::index_sequence<kIndex...>) {
    return &Calling<kIndex...>::call;
  }
  static constexpr auto kCall = function(std::make_index_sequence<kArguments.size()>{});
};

namespace rows {
using namespace words;
#define ARGUMENTS(...) \
  generated::ArgList { \
    __VA_ARGS__        \
  }
#define ADAPTER_ONLY(library, adapter, function, arguments) \
  inline constexpr auto adapter = Adapter<library, #function, ARGUMENTS arguments>::kCall;
#define COMMAND(name, library, adapter, function, arguments, output, fields) \
  ADAPTER_ONLY(library, adapter, function, arguments)
#include "generated/command_table.def"
#undef ARGUMENTS
}  // namespace rows

}  // namespace generated

#define ADAPTER_ONLY(library, adapter, function, arguments) using generated::rows::adapter;
#define COMMAND(name, library, adapter, function, arguments, output, fields) using generated::rows::adapter;
#include "generated/command_table.def"
