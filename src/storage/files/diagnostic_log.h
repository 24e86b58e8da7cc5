// Inside the storage floor: what went wrong, for whoever looks after the workstation.
#pragma once

#include <cstdint>
#include <string>

namespace vorne {

/// The text that printf makes of `format` and what follows, as ISO-8859-1 bytes.
std::string Message(const char* format, ...);

/// Logs and prints `message` and raises error 5. With `told`, that is printed instead. What follows from an error that
/// ends the process already is only logged.
[[noreturn]] void StorageFailure(const char* message, const char* told = nullptr);

/// What a user can do something about: a file of the data directory, what the system says of it, and the bytes wanted.
std::string WhyNotStored(const char* file, std::int64_t bytes, int error);
/// Error 5 for a file that needed `bytes` more. A full disk and a want of memory (by errno) are told by WhyNotStored,
/// anything else by `message`.
[[noreturn]] void FileFailure(const std::string& message, const char* file, std::int64_t bytes);

/// Closes "saida.txt"; the next message opens it again.
void CloseDiagnosticLog();

}  // namespace vorne
