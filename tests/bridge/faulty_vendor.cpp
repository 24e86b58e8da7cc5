// A vendor library that lacks almost everything, and whose few functions misbehave.
#include <cstring>
#include <stdexcept>

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT int ECF_LeituraX() {
  throw std::runtime_error("device on fire");
}
// Past the room, but within what the library can bear.
EXPORT int ECF_NumeroCupom(char* text) {
  std::memset(text, '7', 30000);
  text[30000] = '\0';
  return 1;
}
// Far past everything.
EXPORT int ECF_SubTotal(char* text) {
  std::memset(text, '7', 1 << 20);
  return 1;
}
