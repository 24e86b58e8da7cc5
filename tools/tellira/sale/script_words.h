// Cutting a line of a script into words.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "sale/script.h"

namespace tool {

/// A line that cannot be cut into words; `column` is the byte where it goes wrong.
class WordError : public std::runtime_error {
 public:
  WordError(std::size_t at, const std::string& why) : std::runtime_error(why), column(at) {}
  std::size_t column;
};

/// The words of one line: separated by blanks, in double quotes with the escapes \" \\ \$ \n \xNN, `#` outside quotes
/// begins a comment, `$name`, `$name.key` and `${name.key}` are variables; a `$` before anything else is itself.
/// @throws WordError
std::vector<Word> cutWords(std::string_view line, std::size_t lineNumber);

}  // namespace tool
