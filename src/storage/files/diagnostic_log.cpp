// "saida.txt" in the working directory: opened at the first line, never by a run without one.
#include "storage/files/diagnostic_log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "runtime/process.h"
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

void StorageFailure(const char* message, const char* told) {
  Logar(message);
  if (told != nullptr) Logar(told);
  if (!isEnding) std::printf("%s", told == nullptr ? message : told);
  __RuntimeError(5, -1);
}

std::string WhyNotStored(const char* file, std::int64_t bytes, int error) {
  return Message("%s: %s (%lld bytes)", file, std::strerror(error), static_cast<long long>(bytes));
}

void FileFailure(const std::string& message, const char* file, std::int64_t bytes) {
  const bool isShort = errno == ENOSPC || errno == EDQUOT || errno == EFBIG || errno == ENOMEM;
  const std::string told = WhyNotStored(file, bytes, errno);
  StorageFailure(message.c_str(), isShort ? told.c_str() : nullptr);
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
  // One write to the end of the file, so that the lines of processes that share it do not mix.
  const std::string line = std::string(message) + "\n";
  // The only place where a failure could be told is this one.
  static_cast<void>(fileSystem.write(fileno(pLogFile), line.data(), line.size()));
}
