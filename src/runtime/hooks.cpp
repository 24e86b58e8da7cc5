#include "runtime/hooks.h"

namespace vorne {

Hooks hooks;

}  // namespace vorne
