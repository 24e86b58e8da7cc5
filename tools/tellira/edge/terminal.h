// What the terminal is like that the tool writes to.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tool {

/// The number of columns of the terminal at a descriptor; 0 when it is none, or does not tell.
std::size_t terminalWidth(int descriptor);

/// The first `width` columns of a UTF-8 text, with an ellipsis at the end when more was there.
std::string cutTo(std::size_t width, std::string_view utf8);

/// The text with line breaks in place of blanks where it is wider than `width`, further lines indented; a wider word
/// stays whole. A width of 0 is no limit.
std::string brokenTo(std::size_t width, const std::string& utf8);

}  // namespace tool
