// Padding on the left, shared by __PadL and the number formats.
#pragma once

#include <string_view>

#include "runtime/vorneobjs.h"

namespace vorne {

/// A text temporary: `pad` (width - length) times, then `s`; just `s` when it has `width` characters.
Obj_Node* PadLeft(std::string_view s, int width, std::string_view pad);

}  // namespace vorne
