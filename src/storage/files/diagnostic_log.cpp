#include "storage/files/diagnostic_log.h"

#include <cstdarg>
#include <cstdio>

#include "storage/files/descriptor.h"
#include "storage/vornerdd.h"

std::FILE* pLogFile = nullptr;

namespace {

std::FILE* openLog() {
  const int file = vorne::OpenFile("saida.txt", O_WRONLY | O_CREAT | O_APPEND, 0666);
  std::FILE* log = file < 0 ? nullptr : ::fdopen(file, "ab");
  if (log == nullptr && file >= 0) vorne::fileSystem.close(file);
  return log;
}

}  // namespace

namespace vorne {

std::string Message(const char* format, ...) {
  char text[PATH_MAX + 512];
  va_list arguments;
  va_start(arguments, format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  std::vsnprintf(text, sizeof text, format, arguments);
#pragma GCC diagnostic pop
  va_end(arguments);
  return text;
}

void StorageFailure(const char* message) {
  Logar(message);
  std::printf("%s", message);
  __RuntimeError(5, -1);
}

void CloseDiagnosticLog() {
  if (pLogFile != nullptr) std::fclose(pLogFile);
  pLogFile = nullptr;
}

}  // namespace vorne

using namespace vorne;

void Logar(const char* message) {
  if (pLogFile == nullptr) pLogFile = openLog();
  if (pLogFile == nullptr || message == nullptr) return;
  const std::string line = std::string(message) + "\n";
  // The only place where a failure could be told is this one.
  static_cast<void>(fileSystem.write(fileno(pLogFile), line.data(), line.size()));
}
