// What happened when a call gave no answer, in plain words.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "generated/commands.h"
#include "library/worker.h"

namespace tool {

/// What was asked, for the explanation.
struct CallFacts {
  std::string name;                             ///< command as the user wrote it
  const generated::Command* command = nullptr;  ///< its row, null when there is none
  std::size_t fields = 0;                       ///< fields given behind the name
  std::string library;                          ///< absolute path of the library
  std::string directory;                        ///< absolute path of the working directory
  std::chrono::seconds timeout{};
};

/// The whole explanation: what happened, the library's own words, why, what to do next. Several lines.
std::string explain(const Answer& answer, const CallFacts& facts);

/// The library's words as indented UTF-8 lines without empty ones; empty when it said nothing.
std::string quotedWords(const std::string& words);

}  // namespace tool
