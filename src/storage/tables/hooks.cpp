// What the runtime calls of this floor when a fatal error saves the registered arrays.
#include "runtime/hooks.h"

#include "storage/databases/array_dump.h"

namespace vorne {

bool UseStorage() {
  hooks.saveArray = SaveArray;
  hooks.restoreArray = RestoreArray;
  return true;
}

}  // namespace vorne
