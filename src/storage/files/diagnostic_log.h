// Inside the storage floor: what went wrong, for whoever looks after the workstation.
#pragma once

#include <string>

namespace vorne {

/// The text that printf makes of `format` and what follows, as ISO-8859-1 bytes.
std::string Message(const char* format, ...);

/// Logs and prints `message` and raises error 5.
[[noreturn]] void StorageFailure(const char* message);

/// Closes "saida.txt"; the next message opens it again.
void CloseDiagnosticLog();

}  // namespace vorne
