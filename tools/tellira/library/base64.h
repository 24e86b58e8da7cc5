// Base64 as the library's parameter and output texts use it.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tool {

/// Standard Base64 with padding, no line breaks.
std::string encodeBase64(std::string_view bytes);

/// The bytes of a Base64 text. A text that a too small buffer cut inside a group gives the bytes that are whole.
/// @returns nothing when a character is not of the alphabet.
std::optional<std::string> decodeBase64(std::string_view text);

}  // namespace tool
