// The child's side of Worker, and the form of what passes between the two.
#pragma once

#include <cstdint>
#include <string>

namespace tool {

/// Sent ahead of the parameter text. Both ends are the same program, so the structs pass as they are.
struct RequestHead {
  std::int32_t command;
  std::int32_t outBytes;
  std::int32_t plain;
  std::uint32_t parameterBytes;
};

enum class Reply : std::int32_t { kAnswered, kNoDirectory, kNotLoaded, kNoExport };

/// Sent ahead of the output text, or of the reason why there is none.
struct ReplyHead {
  Reply kind;
  std::int32_t returned;
  std::uint32_t bytes;
};

/// Serves requests from the socket until it closes, then ends the process the way a host does. Never returns.
/// @param calls socket to the parent; @param words pipe that takes standard output and standard error
[[noreturn]] void serveCalls(const std::string& library, const std::string& directory, int calls, int words);

}  // namespace tool
