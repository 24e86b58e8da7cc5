// Texts at the tool's edge: UTF-8 on this side, ISO-8859-1 on the library's.
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// A text that has no ISO-8859-1 form. `offset` is the byte of the UTF-8 text where it stops.
class ConversionError : public std::runtime_error {
 public:
  ConversionError(std::size_t at, const std::string& why) : std::runtime_error(why), offset(at) {}
  std::size_t offset;
};

/// The ISO-8859-1 bytes of a UTF-8 text.
/// @throws ConversionError for a byte that is not UTF-8 and for a character above U+00FF.
std::string latin1FromUtf8(std::string_view utf8);

/// The UTF-8 form of ISO-8859-1 bytes; every byte has one.
std::string utf8FromLatin1(std::string_view latin1);

/// The text without blanks, tabs and line ends on both sides.
std::string_view trimmed(std::string_view text);

/// ASCII letters in upper case; every other byte as it is.
std::string upperCase(std::string_view text);

/// Splits on one byte; an empty text is one empty piece.
std::vector<std::string> split(std::string_view text, char separator);

/// True when `text` matches `pattern` (`*` any run, `?` any one byte), both taken without regard to case.
bool matchesGlob(std::string_view pattern, std::string_view text);

/// Number of columns that a UTF-8 text takes: its characters, combining marks not considered.
std::size_t columns(std::string_view utf8);

}  // namespace tool
