// The end that an error brings. Everything in the runtime may come here, so what is to be done first is called by a
// hook.
#include <cstdio>

#include "runtime/hooks.h"
#include "runtime/process.h"

using namespace vorne;

void __RuntimeError(int code, int aux) {
  // Errors of the steps before the end come back here; the one that began it is the one to tell.
  static int first = 0;
  if (!isEnding) {
    first = aux;
    endingCode = code;
  }
  isEnding = true;
  // Before there is a record nothing was begun that could be saved or closed.
  if (S_GLOB != nullptr) hooks.prepareEnd(first);
  std::printf("\nRunTimeError = %d", first);
  // Status 0, as it has always been: what tells the error is the line printed above.
  EndProcess(0);
}
