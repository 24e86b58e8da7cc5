// Conditions compare values, indexes compare bytes, and the two orders differ: for negative numbers, for numbers longer
// than their field, for dates that cannot be shown, for texts with control characters. Each function widens its range
// by that.
#include "storage/reading/key_ranges.h"

#include <cmath>
#include <limits>
#include <numeric>

#include "storage/disk_layout.h"
#include "storage/format/keys.h"

namespace vorne {

namespace {

const KeyRange kEveryKey;
constexpr double kInfinity = std::numeric_limits<double>::infinity();
// More characters than this no number has before its point, with its sign and the decimals of a key.
constexpr std::int32_t kLongestNumber = 384;

std::string keyOf(const TableField& field, double value) {
  return NumberKey(MakeField("", TBLNUM, field.length, field.decimals), value);
}

// A number that is longer than the field is a key by its first characters, which says nothing about its size.
bool isCut(const TableField& field, double value) {
  return NumberKey(MakeField("", TBLNUM, field.length + 1, field.decimals), value).front() != ' ';
}

KeyRange only(const std::string& key) {
  return {key, key};
}

// Right-aligned, the keys of negative numbers stand between those of positive ones, apart by their lengths.
void addNegatives(const TableField& field, KeyRanges& ranges) {
  for (std::int32_t blanks = std::max(0, field.length - kLongestNumber); blanks < field.length; ++blanks)
    ranges.push_back(only(std::string(static_cast<std::size_t>(blanks), ' ') + '-'));
}

// The keys of numbers from `least`, which is above 0. Any number that fills the field may be one that was cut.
std::string firstKey(const TableField& field, double least) {
  const std::string key = keyOf(field, least);
  // "!" is the first character behind the blank: every key that begins with anything else.
  return key.front() == ' ' ? key : "!";
}

// The longest beginning that is a date's, without the dashes: as it stands in a key.
std::string dateDigits(std::string_view text) {
  constexpr std::string_view kForm = "dddd-dd-dd";
  std::string digits;
  for (std::size_t i = 0; i < std::min(text.size(), kForm.size()); ++i) {
    const bool fits = kForm[i] == '-' ? text[i] == '-' : text[i] >= '0' && text[i] <= '9';
    if (!fits) break;
    if (kForm[i] != '-') digits += text[i];
  }
  return digits;
}

// The beginning of a bound, as far as keys are in the order of texts: keys are cut to the field, and filled up with
// blanks, which are above control characters.
std::string comparable(const TableField& field, std::string_view text) {
  text = text.substr(0, static_cast<std::size_t>(field.length));
  const auto end = std::find_if(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; });
  return {text.begin(), end};
}

constexpr std::size_t kDateKey = 8;

std::size_t roomOf(const TableField& field) {
  if (field.type == CellType::kText) return static_cast<std::size_t>(field.length);
  return field.type == CellType::kDate ? kDateKey : 1;
}

// A key's field as the value that it shows, in the order of bytes: a date that cannot be shown is empty.
std::string_view shownValue(const TableField& field, std::string_view key) {
  if (field.type == CellType::kText) return key.substr(0, key.find_last_not_of(' ') + 1);
  if (field.type == CellType::kDate) return key == kBeyondDatesKey ? kNoDateKey : key;
  return key.front() == 0 ? "0" : "1";
}

int compareValues(const std::vector<TableField>& leading, std::string_view a, std::string_view b) {
  for (const TableField& field : leading) {
    const std::size_t room = roomOf(field);
    const int order = shownValue(field, a.substr(0, room)).compare(shownValue(field, b.substr(0, room)));
    if (order != 0) return order;
    a.remove_prefix(room);
    b.remove_prefix(room);
  }
  return 0;
}

}  // namespace

KeyRanges RangesOfNumbers(const TableField& field, std::optional<double> least, std::optional<double> most) {
  if ((least && !std::isfinite(*least)) || (most && !std::isfinite(*most))) return {kEveryKey};
  if (least && most && *least == *most && *least != 0) return {only(keyOf(field, *least))};
  // Zero and its negative are equal, and have keys of their own.
  if (least && most && *least == *most) return {only(keyOf(field, 0.0)), only(keyOf(field, -0.0))};
  KeyRanges ranges;
  const bool fromBelow = !least || *least <= 0;
  if (!most || *most >= 0)
    ranges.push_back(
        {fromBelow ? "" : firstKey(field, *least), most && !isCut(field, *most) ? keyOf(field, *most + 0.0) : ""});
  // Infinity's key is a short word: blanks before it put it below longer numbers.
  if (!most && !fromBelow) ranges.push_back(only(keyOf(field, kInfinity)));
  if (fromBelow) addNegatives(field, ranges);
  return ranges;
}

KeyRanges RangesOfTexts(const TableField& field, std::optional<std::string_view> least,
                        std::optional<std::string_view> most) {
  return {{least ? comparable(field, *least) : "", most ? comparable(field, *most) : ""}};
}

KeyRanges RangesOfText(const TableField& field, std::string_view text) {
  const auto room = static_cast<std::size_t>(field.length);
  // Fields give their texts without blanks at the end, and up to the first zero: no field gives such a text.
  if (text.size() > room || text.ends_with(' ') || text.find('\0') != std::string_view::npos) return {};
  return {only(std::string(text).append(room - text.size(), ' '))};
}

KeyRanges RangesOfDates(std::optional<std::string_view> least, std::optional<std::string_view> most) {
  return {{least ? dateDigits(*least) : "", most ? dateDigits(*most) : ""}};
}

KeyRanges RangesOfLogical(bool value) {
  const std::string zero(1, '\0'), one(1, '\1');
  // Every byte but zero reads as true.
  return {value ? KeyRange{one, ""} : only(zero)};
}

std::uint32_t KeyList::position(std::size_t entry) const {
  return Load<std::uint32_t>(bytes.data() + entry * entrySize);
}

void SortByValues(const std::vector<TableField>& leading, KeyList& list) {
  const auto entry = [&list](std::size_t i) {
    return std::string_view(list.bytes).substr(i * list.entrySize, list.entrySize);
  };
  const auto isBelow = [&](std::size_t a, std::size_t b) {
    return compareValues(leading, entry(a).substr(kEntryKeyAt), entry(b).substr(kEntryKeyAt)) < 0;
  };
  std::size_t unordered = 1;
  while (unordered < list.count() && !isBelow(unordered, unordered - 1)) ++unordered;
  if (unordered >= list.count()) return;
  std::vector<std::size_t> order(list.count());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(), isBelow);
  std::string sorted;
  sorted.reserve(list.bytes.size());
  for (const std::size_t i : order) sorted += entry(i);
  list.bytes = std::move(sorted);
}

}  // namespace vorne
