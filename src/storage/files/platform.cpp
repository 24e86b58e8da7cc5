// The remaining calls that keep their Win32 names: clock, last error, texts, sockets, the program's place.
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

#include "runtime/local_clock.h"
#include "storage/vornerdd.h"

UInt32 GetTickCount() {
  // Seconds, whatever its name promises: callers reckon with it so.
  return static_cast<UInt32>(std::time(nullptr));
}

SYSTEMTIME* GetLocalTime(SYSTEMTIME* now) {
  const std::tm local = vorne::LocalNow();
  const auto part = [](int value) { return static_cast<std::uint16_t>(value); };
  *now = {part(local.tm_year + 1900), part(local.tm_mon + 1), part(local.tm_wday), part(local.tm_mday),
          part(local.tm_hour),        part(local.tm_min),     part(local.tm_sec),  0};
  return now;
}

int GetLastError() {
  return errno;
}

int WSAGetLastError() {
  return errno;
}

char* lstrcpyn(char* dest, const char* src, int n) {
  if (n > 0) {
    const std::size_t size = ::strnlen(src, static_cast<std::size_t>(n));
    std::memcpy(dest, src, size);
    std::memset(dest + size, 0, static_cast<std::size_t>(n) - size);
  }
  return dest;
}

int WSAStartup(UInt16, void*) {
  return 0;
}

void WSACleanup() {}

int closesocket(int socket) {
  ::close(socket);
  return 1;
}

int min(int a, int b) {
  return a < b ? a : b;
}

char* strupr(char* text, int length) {
  // One character more than the length says is changed, and none at a negative length, whose sum wraps to 0: callers
  // have always had it so.
  const std::size_t size = length == 0 ? std::strlen(text) : static_cast<std::size_t>(length < 0 ? -1 : length);
  for (std::size_t i = 0; i < size + 1 && text[i] != 0; ++i)
    if (text[i] >= 'a' && text[i] <= 'z') text[i] = static_cast<char>(text[i] - 'a' + 'A');
  return text;
}

int __GetAPPDir(char* path) {
  const ssize_t size = ::readlink("/proc/self/exe", path, PATH_MAX - 1);
  path[size > 0 ? size : 0] = 0;
  char* last = std::strrchr(path, '/');
  if (last == nullptr) return 0;
  last[1] = 0;
  return 1;
}
