// Whatever is read must come out the same when it is written again, and what could not is refused by name instead of
// being changed quietly.
#include "db/field_values.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>

#include "storage/format/description.h"
#include "text/text.h"

namespace tool {
namespace {

using namespace std::chrono;

// Dates are counted in days from here; this day itself stands for the empty date.
constexpr sys_days kDayZero{year{1899} / December / 30};
constexpr double kFirstDay = -693593, kLastDay = 2958465;  // 1 January 1, 31 December 9999

constexpr std::size_t kLongestNumber = 512;
constexpr std::size_t kLongestMemo = 65534;  // a record without the text's zero
constexpr double kNoise = 5e-15;             // what computing with doubles adds to a number, in proportion to it

bool isAscii(std::string_view text) {
  unsigned char all = 0;
  for (const char c : text) all |= static_cast<unsigned char>(c);
  return all < 0x80;
}

std::string_view withoutBlanks(std::string_view text) {
  while (!text.empty() && text.front() == ' ') text.remove_prefix(1);
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

bool equalsInAnyLetters(std::string_view text, std::string_view word) {
  return text.size() == word.size() && upperCase(text) == upperCase(word);
}

/// Reads all of `text` as digits; false for anything else.
bool readDigits(std::string_view text, unsigned& value) {
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc{} && end == text.data() + text.size();
}

std::size_t fixedText(char (&text)[kLongestNumber], double value, int decimals) {
  const auto [end, error] =
      std::to_chars(text, text + kLongestNumber, value, std::chars_format::fixed, std::clamp(decimals, 0, 64));
  return error == std::errc{} ? static_cast<std::size_t>(end - text) : 0;
}

/// True when the number's text with the field's decimals has room in the field.
bool fits(const ControlFieldTBL& field, double value) {
  // Most numbers are far from filling their field, which needs no text to be seen.
  const int digits = field.FieldLen - (field.FieldDecLen > 0 ? field.FieldDecLen + 1 : 0) - 2;
  static constexpr double kPowers[] = {1, 1e1, 1e2, 1e3, 1e4, 1e5, 1e6, 1e7, 1e8, 1e9, 1e10, 1e11, 1e12};
  if (digits >= 0 && std::fabs(value) < kPowers[std::min<std::size_t>(static_cast<std::size_t>(digits), 12)])
    return true;
  char text[kLongestNumber];
  return fixedText(text, value, field.FieldDecLen) <= static_cast<std::size_t>(field.FieldLen);
}

/// A number of so many decimals, halves away from zero as they are written: 1.005 becomes 1.01, though the double is a
/// little less.
double roundedTo(double value, int decimals) {
  const double scale = std::pow(10.0, std::clamp(decimals, 0, 64));
  const double scaled = value * scale;
  const double whole = std::round(scaled + scaled * kNoise);
  // Beyond this a double has no decimals that could be lost.
  return std::isfinite(whole) && std::fabs(scaled) < 0x1p53 ? whole / scale + 0.0 : value;
}

bool isHeldTo(int decimals, double value) {
  return std::fabs(value - roundedTo(value, decimals)) <= std::fabs(value) * kNoise;
}

/// True when a number as it is written has at most so many decimals: it need not be computed with then.
bool isWrittenWithin(std::string_view text, int decimals) {
  const std::size_t point = text.find('.');
  return text.find_first_of("eE") == std::string_view::npos &&
         (point == std::string_view::npos ||
          text.size() - point - 1 <= static_cast<std::size_t>(std::max(decimals, 0)));
}

/// The byte from 0x80 to 0x9F in a text; 0 for none.
unsigned char controlByteIn(std::string_view text) {
  const auto* found = std::find_if(text.begin(), text.end(), [](char c) { return (c & 0xE0) == 0x80; });
  return found == text.end() ? 0 : static_cast<unsigned char>(*found);
}

std::string hexText(unsigned char byte) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  return {'0', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
}

// The characters of cp1252 from 0x80 to 0x9F in UTF-8; empty where it has none.
constexpr const char* kWindowsCharacters[32] = {"€", "",  "‚", "ƒ", "„", "…", "†", "‡", "ˆ", "‰", "Š",
                                                "‹", "Œ", "",  "Ž", "",  "",  "‘", "’", "“", "”", "•",
                                                "–", "—", "˜", "™", "š", "›", "œ", "",  "ž", "Ÿ"};

std::string storeDate(std::string_view cell, char* at) {
  double value = 0;
  if (!cell.empty() && !readDate(cell, value)) return "is not a date.\n  next: write it like 2004-03-17, or nothing.";
  // It would come back as no date at all.
  if (!cell.empty() && value == 0)
    return "cannot be stored: this day stands for the empty date.\n  next: leave it empty.";
  std::memcpy(at, &value, sizeof value);
  return {};
}

std::string storeLogical(std::string_view cell, char* at) {
  if (equalsInAnyLetters(cell, "true"))
    *at = 1;
  else if (!cell.empty() && !equalsInAnyLetters(cell, "false"))
    return "is no logical.\n  next: write true or false.";
  return {};
}

}  // namespace

std::string typeText(const ControlFieldTBL& field) {
  return std::string(1, vorne::TypeLetter(field.FieldType)) + ":" + std::to_string(field.FieldLen) +
         (field.FieldDecLen > 0 ? ":" + std::to_string(field.FieldDecLen) : "");
}

const char* misfit(const ControlFieldTBL& field, double value) {
  if (!isHeldTo(field.FieldDecLen, value)) return "has more decimals than";
  return fits(field, value) ? nullptr : "does not fit";
}

bool readNumber(std::string_view text, double& value) {
  text = withoutBlanks(text);
  // from_chars knows no plus sign.
  if (text.size() > 1 && text.front() == '+' && text[1] != '-') text.remove_prefix(1);
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc{} && end == text.data() + text.size() && std::isfinite(value);
}

bool readDate(std::string_view text, double& value) {
  unsigned y = 0, m = 0, d = 0;
  if (text.size() != 10 || text[4] != '-' || text[7] != '-' || !readDigits(text.substr(0, 4), y) ||
      !readDigits(text.substr(5, 2), m) || !readDigits(text.substr(8, 2), d))
    return false;
  const year_month_day date{year{static_cast<int>(y)}, month{m}, day{d}};
  // The calendar has no year 0.
  if (!date.ok() || y == 0) return false;
  value = static_cast<double>((sys_days{date} - kDayZero).count());
  return true;
}

// ---------------------------------------------------------------------------------------------------------- inwards

namespace {

std::string controlByteProblem(unsigned char byte, Encoding encoding) {
  const std::string character = kWindowsCharacters[byte - 0x80];
  if (encoding == Encoding::kLatin1)
    return "cannot be stored: the byte " + hexText(byte) + " is no character of ISO-8859-1" +
           (character.empty() ? "" : ", in cp1252 it is '" + character + "'") +
           ".\n  next: import with --encoding cp1252 when the file comes from Windows.";
  if (character.empty())
    return "holds the byte " + hexText(byte) +
           ", which cp1252 has no character for.\n  next: look at the file's encoding.";
  return "cannot be stored: the character '" + character +
         "' does not exist in ISO-8859-1.\n  next: write it with another character.";
}

}  // namespace

// The cell in ISO-8859-1. Empty, with a problem told, when there is no such text.
std::string_view ValueReader::converted(std::string_view cell, std::string& problem) {
  if (std::memchr(cell.data(), '\0', cell.size()) != nullptr) {
    problem = "holds a zero byte, which would end the text.\n  next: take it out.";
    return {};
  }
  if (isAscii(cell)) return cell;
  if (rules_.encoding != Encoding::kUtf8) {
    const unsigned char byte = controlByteIn(cell);
    if (byte != 0) problem = controlByteProblem(byte, rules_.encoding);
    return cell;
  }
  try {
    latin1_ = latin1FromUtf8(cell);
    return latin1_;
  } catch (const ConversionError& error) {
    const bool isUtf8 = !std::string_view(error.what()).ends_with("UTF-8");
    problem = std::string("cannot be stored: ") + error.what() + ".\n  next: " +
              (isUtf8 ? "write it with another character."
                      : "import with --encoding latin1 or cp1252 when the file is that.");
    return {};
  }
}

std::string ValueReader::storeText(const ControlFieldTBL& field, std::string_view cell, char* at) {
  std::string problem;
  std::string_view text = converted(cell, problem);
  if (!problem.empty()) return problem;
  // Blanks at the end are not stored, so they need no room.
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  const auto room = static_cast<std::size_t>(field.FieldLen);
  if (text.size() > room && !rules_.truncate)
    return "has " + std::to_string(text.size()) + " characters, the field has room for " + std::to_string(room) +
           ".\n  next: make the field longer, or import with --truncate, which cuts texts.";
  text.copy(at, room);
  return {};
}

std::string ValueReader::storeNumber(const ControlFieldTBL& field, std::string_view cell, char* at) {
  const std::string_view text = withoutBlanks(cell);
  double value = 0;
  if (!text.empty() && !readNumber(text, value)) {
    if (text.find(',') == std::string_view::npos) return "is not a number.\n  next: write it like 1234.50.";
    return "is not a number: decimals stand behind a point, and nothing between thousands.\n"
           "  next: write it like 1234.50.";
  }
  const int decimals = field.FieldDecLen;
  // Judged by how it is written first: a long number with few decimals may be a double that is a little off them.
  if (!isWrittenWithin(text, decimals) && !isHeldTo(decimals, value)) {
    if (!rules_.round)
      return "has more decimals than the field, which is " + typeText(field) +
             ".\n  next: make a field with more of them, or import with --round, which rounds numbers.";
    value = roundedTo(value, decimals);
    ++rounded_;
  }
  if (!rules_.truncate && !fits(field, value))
    return "does not fit the field, which is " + typeText(field) +
           ".\n  next: make the field wider, or import with --truncate, which stores it all the same.";
  std::memcpy(at, &value, sizeof value);
  return {};
}

std::string ValueReader::store(const ControlFieldTBL& field, std::string_view cell, char* buffer) {
  char* at = buffer + field.iOffset;
  switch (field.FieldType) {
    case TBLNUM:
      return storeNumber(field, cell, at);
    case TBLDATE:
      return storeDate(cell, at);
    case TBLSTRING:
      return storeText(field, cell, at);
    case TBLBOOL:
      return storeLogical(cell, at);
    default:
      return {};
  }
}

std::string_view ValueReader::memo(std::string_view cell, std::string& problem) {
  std::string_view text = converted(cell, problem);
  if (text.size() > kLongestMemo && rules_.truncate) text = text.substr(0, kLongestMemo);
  if (text.size() > kLongestMemo)
    problem = "has " + std::to_string(text.size()) + " characters, a memo has room for " +
              std::to_string(kLongestMemo) + ".\n  next: shorten it, or import with --truncate, which cuts texts.";
  return text;
}

// --------------------------------------------------------------------------------------------------------- outwards

void appendNumber(std::string& to, int decimals, double value) {
  if (!std::isfinite(value)) return;
  char text[kLongestNumber];
  std::size_t length = fixedText(text, value, decimals);
  double again = 0;
  std::from_chars(text, text + length, again);
  // A value with more decimals than its field, as programs store them, is written in full: what is exported is the same
  // when it comes back.
  if (again != value) length = static_cast<std::size_t>(std::to_chars(text, text + kLongestNumber, value).ptr - text);
  to.append(text, length);
}

void appendDate(std::string& to, double value) {
  const double days = std::floor(value);
  if (!(days >= kFirstDay && days <= kLastDay) || days == 0) return;
  const year_month_day date{kDayZero + std::chrono::days{static_cast<int>(days)}};
  char text[] = "0000-00-00";
  const auto put = [&text](std::size_t last, unsigned number) {
    for (; number > 0; number /= 10) text[last--] = static_cast<char>('0' + number % 10);
  };
  put(3, static_cast<unsigned>(static_cast<int>(date.year())));
  put(6, static_cast<unsigned>(date.month()));
  put(9, static_cast<unsigned>(date.day()));
  to.append(text, sizeof text - 1);
}

void appendUtf8(std::string& to, std::string_view latin1) {
  if (isAscii(latin1)) {
    to.append(latin1);
    return;
  }
  for (const char c : latin1) {
    const auto byte = static_cast<unsigned char>(c);
    // ISO-8859-1 is the first 256 characters of Unicode: two bytes at most.
    if (byte >= 0x80) to += static_cast<char>(0xC0 | byte >> 6);
    to += byte < 0x80 ? c : static_cast<char>(0x80 | (byte & 0x3F));
  }
}

void appendJsonText(std::string& to, std::string_view latin1) {
  static constexpr char kHex[] = "0123456789abcdef";
  to += '"';
  while (!latin1.empty()) {
    const auto special = std::find_if(latin1.begin(), latin1.end(), [](char c) {
      return c == '"' || c == '\\' || static_cast<unsigned char>(c) < ' ';
    });
    const auto plain = static_cast<std::size_t>(special - latin1.begin());
    appendUtf8(to, latin1.substr(0, plain));
    latin1.remove_prefix(plain);
    if (latin1.empty()) break;
    const char c = latin1.front();
    latin1.remove_prefix(1);
    to += '\\';
    if (c == '"' || c == '\\') {
      to += c;
    } else if (c == '\n' || c == '\r' || c == '\t') {
      to += c == '\n' ? 'n' : c == '\r' ? 'r' : 't';
    } else {
      to += "u00";
      to += kHex[static_cast<unsigned char>(c) >> 4];
      to += kHex[c & 0xF];
    }
  }
  to += '"';
}

}  // namespace tool
