// A vendor library that lacks almost everything, and whose few functions misbehave.
#include <cstring>
#include <stdexcept>

#define EXPORT extern "C" __attribute__((visibility("default")))

EXPORT int ECF_LeituraX() {
  throw std::runtime_error("device on fire");
}
EXPORT int ECF_AbrePortaSerial() {
  throw 42;
}
// Past the room, but within what the library can bear.
EXPORT int ECF_NumeroCupom(char* text) {
  std::memset(text, '7', 30000);
  text[30000] = '\0';
  return 1;
}
// Far past everything, byte by byte, so that the first one on the guard page is what stops it.
EXPORT int ECF_SubTotal(volatile char* text) {
  for (int i = 0; i < 1 << 20; ++i) text[i] = '7';
  return 1;
}
