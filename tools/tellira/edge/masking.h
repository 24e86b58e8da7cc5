// Card numbers never leave the tool whole: not on the screen, not in JSON, not in pages, not in error texts.
#pragma once

#include <string>
#include <string_view>

namespace tool {

/// The text with every card number's digits replaced by '*' except the first six and the last four; everything else,
/// and the text's length, stay as they are. Works on UTF-8 and on ISO-8859-1.
///
/// A card number is a run of digits, or groups of digits with one blank or dash between them, that passes the Luhn
/// check and has one of these forms (D is the first digit):
///   16 to 19 digits  D is 2 to 6
///   15 digits        D is 1, 2 or 3
///   14 digits        D is 3, and it is no valid CNPJ
///   13 digits        D is 4, and it is no valid EAN-13 product code
/// The whole run is looked at first; inside a longer grouped run, groups of 4-4-4-4 (and a fifth group of up to three),
/// 4-6-5 and 4-6-4 digits. Runs without separators of 20 digits or more (44, 47 and 48-digit bar codes, access keys)
/// are never card numbers.
std::string maskCards(std::string_view text);

}  // namespace tool
