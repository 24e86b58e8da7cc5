// What a row of the command table says about one vendor argument, as a compile-time value, and the native C type
// that the vendor function takes in that place. Read by the adapters, the dispatcher, the tool and the simulated
// devices.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <initializer_list>

#include "adapters/native.h"

namespace generated {

enum class Argument : std::uint8_t {
  kNumber,     ///< int by value
  kNumberRef,  ///< pointer to int, brought back
  kShortRef,   ///< pointer to a 16-bit integer, brought back
  kText,       ///< zero-terminated bytes; whatever the vendor writes there is brought back to the caller's value
  kTextRef,    ///< the same, and the host reads it too
  kNothing,    ///< no value: room of the library's own, thrown away after the call
  kZeroRef,    ///< pointer to an int that starts at 0, brought back
  kBlanksRef,  ///< six blanks, brought back
  kDataRef,    ///< the dialogue's data buffer, grown to kDialogueBuffer characters, brought back
  kDataSize,   ///< int by value: length of the encoded data text before its buffer grew
};

/// One place in a vendor function's argument list.
struct Arg {
  Argument kind{};
  std::uint8_t field{};  ///< parameter field that fills the place, counted from 1 (the command name); 0: none

  friend constexpr bool operator==(const Arg&, const Arg&) = default;
};

/// The longest argument list of any vendor function.
inline constexpr std::size_t kMaxArguments = 17;
/// Characters that the data buffer of a dialogue is grown to.
inline constexpr int kDialogueBuffer = 20000;

/// An argument list that can be a template argument.
struct ArgList {
  std::array<Arg, kMaxArguments> items{};
  std::size_t count{};

  constexpr ArgList() = default;
  constexpr ArgList(std::initializer_list<Arg> list) {
    for (const Arg& arg : list) items[count++] = arg;  // a list that is too long does not compile
  }
  constexpr const Arg* begin() const { return items.data(); }
  constexpr const Arg* end() const { return items.data() + count; }
  constexpr std::size_t size() const { return count; }
  constexpr const Arg& operator[](std::size_t i) const { return items[i]; }
};

/// The words of the table's argument column.
namespace words {
constexpr Arg field(Argument kind, int k) {
  return {kind, static_cast<std::uint8_t>(k)};
}
constexpr Arg N(int k) {
  return field(Argument::kNumber, k);
}
constexpr Arg N_R(int k) {
  return field(Argument::kNumberRef, k);
}
constexpr Arg H_R(int k) {
  return field(Argument::kShortRef, k);
}
constexpr Arg S(int k) {
  return field(Argument::kText, k);
}
constexpr Arg S_R(int k) {
  return field(Argument::kTextRef, k);
}
constexpr Arg DATA_R(int k) {
  return field(Argument::kDataRef, k);
}
constexpr Arg DATA_SIZE(int k) {
  return field(Argument::kDataSize, k);
}
inline constexpr Arg NIL{Argument::kNothing, 0};
inline constexpr Arg ZERO_R{Argument::kZeroRef, 0};
inline constexpr Arg BLANKS_R{Argument::kBlanksRef, 0};
}  // namespace words

/// True for a place whose value comes back to the host's answer.
constexpr bool returned(Argument kind) {
  switch (kind) {
    case Argument::kNumberRef:
    case Argument::kShortRef:
    case Argument::kTextRef:
    case Argument::kZeroRef:
    case Argument::kBlanksRef:
    case Argument::kDataRef:
      return true;
    default:
      return false;
  }
}

/// How a place looks to the vendor.
using vorne::Native;

constexpr Native nativeKind(Argument kind) {
  switch (kind) {
    case Argument::kNumber:
    case Argument::kDataSize:
      return Native::kInt;
    case Argument::kNumberRef:
    case Argument::kZeroRef:
      return Native::kIntPtr;
    case Argument::kShortRef:
      return Native::kShortPtr;
    default:
      return Native::kCharPtr;
  }
}

/// The C type of one place: `int`, `int*`, `short*` or `char*`.
template <Arg kArg>
using VendorType = vorne::NativeType<nativeKind(kArg.kind)>;

/// The vendor libraries, resolved against the current directory at the moment of a call.
inline constexpr char CONVECF[] = "./libconvecf.so";
inline constexpr char BEMATECH[] = "./bemafi32.so";
inline constexpr char SITEF[] = "./libclisitef.so";

}  // namespace generated
