// The parameter text that goes to the library and the output text that comes back.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// Joins fields (ISO-8859-1, the command's name first) by 0x01, closes them with 0x02 and a zero byte and encodes the
/// whole. With `plain` nothing is encoded and the zero is left to the C text's own end.
std::string parameterText(const std::vector<std::string>& fields, bool plain);

/// An answer as it is shown: card numbers masked everywhere, the encoded text included.
struct Output {
  std::string text;                 ///< as the library returned it, in UTF-8
  std::vector<std::string> fields;  ///< split on 0x01, in UTF-8, masked
  std::vector<std::string> values;  ///< the same as they came, for use in later commands; never printed
  bool readable = true;             ///< false: the text is not Base64; it is then the one field
};

/// Takes a returned text apart.
/// @param plain the text is not encoded
Output readOutput(std::string_view text, bool plain);

/// Converts what a user typed to the devices' alphabet.
/// @param what names the text in the error, for example "field 3"
/// @throws Failure for a character outside ISO-8859-1, bytes that are not UTF-8, and the separators 0x01 and 0x02
///   unless `anything`
std::string fieldBytes(std::string_view utf8, const std::string& what, bool anything = false);

}  // namespace tool
