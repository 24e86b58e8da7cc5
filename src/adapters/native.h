// The four C types that vendor functions take.
#pragma once

#include <cstdint>
#include <type_traits>

namespace vorne {

enum class Native : std::uint8_t { kInt, kIntPtr, kShortPtr, kCharPtr };

template <Native kKind>
using NativeType = std::conditional_t<
    kKind == Native::kInt, int,
    std::conditional_t<kKind == Native::kIntPtr, int*, std::conditional_t<kKind == Native::kShortPtr, short*, char*>>>;

}  // namespace vorne
