// All places empty until a floor fills its own.
#include "runtime/hooks.h"

namespace vorne {

Hooks hooks;

}  // namespace vorne
