// What the runtime calls of this floor when a fatal error saves the registered arrays.
#include "runtime/hooks.h"

#include "storage/databases/array_dump.h"
#include "storage/vornerdd.h"

namespace vorne {

bool UseStorage() {
  hooks.saveArray = SaveArray;
  hooks.restoreArray = RestoreArray;
  hooks.logFailure = Logar;
  return true;
}

}  // namespace vorne
