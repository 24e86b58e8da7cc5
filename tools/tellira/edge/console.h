// The only place that writes to standard output and standard error: what goes out is masked first.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace tool {

/// Exit statuses, the same for every verb.
enum Status : int {
  kDone = 0,   ///< done
  kNo = 1,     ///< done, but the answer is no
  kUsage = 2,  ///< wrong usage or input
  kEnded = 3,  ///< the library ended the process, or a device or library is missing
};

/// What ends a verb early: the text for standard error (the thing, the cause, the next step; failure_report.h tells its
/// form) and the exit status.
class Failure : public std::runtime_error {
 public:
  Failure(Status exitStatus, const std::string& text) : std::runtime_error(text), status(exitStatus) {}
  Status status;
};

/// Writes data to standard output, card numbers masked.
void print(std::string_view text);

/// Writes data that is masked already and must not be looked at as text again (JSON, Base64).
void printRaw(std::string_view text);

/// True once something was written to standard output.
bool hasPrinted();

/// Whether some of what was printed could not be written, as on a full disk or to a reader that went away. True once
/// only: who asks is the one to tell it.
bool takeOutputFailure();

/// Writes a remark to standard error, card numbers masked, with a line end.
void note(std::string_view text);

/// Writes an error text to standard error behind the program's name, card numbers masked, with a line end.
void complain(std::string_view text);

enum class Style { kPlain, kBold, kDim, kGreen, kRed };

/// The text in a style when standard output is a terminal and NO_COLOR is unset or empty; otherwise as it is.
std::string styled(Style style, std::string_view text);

}  // namespace tool
