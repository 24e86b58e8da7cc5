// Why a reader of another process's tables could not answer.
#pragma once

#include <stdexcept>
#include <string>

namespace vorne {

/// The text names the thing, the cause and the next step; names in it are ISO-8859-1.
class ReadFailure : public std::runtime_error {
 public:
  enum Kind {
    kMissing,      ///< no such directory, table or file
    kDamaged,      ///< the files contradict each other
    kChanged,      ///< the table has other fields than when it was opened
    kInUse,        ///< another process kept changing records
    kInterrupted,  ///< another process died in the middle of a change
    kRefused,      ///< the system refused
  };
  ReadFailure(Kind why, const std::string& text) : std::runtime_error(text), kind(why) {}
  Kind kind;
};

}  // namespace vorne
