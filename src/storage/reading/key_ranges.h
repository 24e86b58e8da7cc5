// Which keys of an index can belong to the values that a condition on its leading field allows. A range may hold other
// keys too (numbers are rounded and cut in keys), but never misses one.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vorne {

/// What a field holds.
enum class CellType { kNumber, kDate, kText, kLogical, kMemo, kNone };

/// What stands in a key for a date that cannot be shown: the empty one and those before the year 1, and those after
/// the year 9999.
inline constexpr std::string_view kNoDateKey = "00000000", kBeyondDatesKey = "99999999";

struct TableField {
  std::string name;  ///< ISO-8859-1
  CellType type;
  std::int32_t length;  ///< characters of a text or of a number in a key
  std::int32_t decimals;
};

/// Keys whose beginning is not below `least` and not above `most`, each compared over its own length.
struct KeyRange {
  std::string least, most;
};
using KeyRanges = std::vector<KeyRange>;

/// Numbers from `least` to `most`, both included; none stands for no bound.
KeyRanges RangesOfNumbers(const TableField& field, std::optional<double> least, std::optional<double> most);
/// Texts (ISO-8859-1, in the order of their bytes) likewise. A bound may be the beginning of the real one.
KeyRanges RangesOfTexts(const TableField& field, std::optional<std::string_view> least,
                        std::optional<std::string_view> most);
/// The text itself; no range when no text in the field equals it.
KeyRanges RangesOfText(const TableField& field, std::string_view text);
/// Dates as texts of the form 2004-03-17, of which the bounds may be any texts.
KeyRanges RangesOfDates(std::optional<std::string_view> least, std::optional<std::string_view> most);
/// One logical value.
KeyRanges RangesOfLogical(bool value);

/// Entries of an index: a record's position (4 bytes) and a key each, one behind the other, in the order of the keys.
struct KeyList {
  std::size_t entrySize = 0;
  std::string bytes;

  std::size_t count() const { return entrySize == 0 ? 0 : bytes.size() / entrySize; }
  std::uint32_t position(std::size_t entry) const;
};

/// Brings the entries into the order of the values of the first key fields (given in order; no numbers among them).
/// That is the order of the keys unless a text has control characters, or a date or a logical is none.
void SortByValues(const std::vector<TableField>& leading, KeyList& list);

/// The first position from which on `isBelow(key)` is false.
template <class KeyAt, class IsBelow>
std::uint32_t FirstNotBelow(std::uint32_t count, KeyAt& keyAt, IsBelow isBelow) {
  std::uint32_t low = 0, high = count;
  while (low < high) {
    const std::uint32_t middle = low + (high - low) / 2;
    if (isBelow(std::string_view(keyAt(middle))))
      low = middle + 1;
    else
      high = middle;
  }
  return low;
}

/// The positions from (included) to (excluded) that the ranges mean in an array of `count` sorted keys, in order and
/// without overlaps; for a range without a key, where it would stand. `keyAt(i)` is the key at position i.
template <class KeyAt>
std::vector<std::pair<std::uint32_t, std::uint32_t>> PositionsOf(const KeyRanges& ranges, std::uint32_t count,
                                                                 KeyAt keyAt) {
  std::vector<std::pair<std::uint32_t, std::uint32_t>> found;
  for (const KeyRange& range : ranges) {
    const auto beginning = [](std::string_view key, const std::string& bound) { return key.substr(0, bound.size()); };
    const std::uint32_t from =
        FirstNotBelow(count, keyAt, [&](std::string_view key) { return beginning(key, range.least) < range.least; });
    const std::uint32_t to = range.most.empty() ? count : FirstNotBelow(count, keyAt, [&](std::string_view key) {
      return beginning(key, range.most) <= range.most;
    });
    found.emplace_back(from, std::max(from, to));
    if (to < from) found.emplace_back(to, to);
  }
  std::sort(found.begin(), found.end());
  std::vector<std::pair<std::uint32_t, std::uint32_t>> merged;
  for (const auto& [from, to] : found) {
    if (!merged.empty() && from <= merged.back().second)
      merged.back().second = std::max(merged.back().second, to);
    else
      merged.emplace_back(from, to);
  }
  return merged;
}

}  // namespace vorne
