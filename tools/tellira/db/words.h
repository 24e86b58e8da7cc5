// How the verbs of `tellira db` name things.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace tool {

/// A name or text of the data directory, which is ISO-8859-1, as UTF-8 with card numbers masked.
std::string shown(std::string_view latin1);

/// A four-character code as text; '?' stands for what cannot be printed, nothing for the code 0.
std::string codeText(std::uint32_t code);

/// A count with its noun, for example "1 record", "2 records". `many` is for nouns whose plural is not their "s".
std::string counted(std::uint64_t count, const std::string& noun, const std::string& many = "");

/// A size in the unit that suits it, for example "15.4 kB".
std::string sizeText(std::uint64_t bytes);

}  // namespace tool
