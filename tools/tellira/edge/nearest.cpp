// Few enough names to read, and none that is merely less far than the others: up to a third of the word may differ, or
// two letters.
#include "edge/nearest.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include "text/text.h"

namespace tool {
namespace {

// The time grows with the product of both lengths, and a word may be anything.
constexpr std::size_t kLongestCompared = 200;
constexpr std::size_t kMostNames = 5;

/// Number of single-letter edits (insert, delete, replace) between two names.
std::size_t editDistance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

/// Nearness for suggestions: edits, where a name that holds the whole of the other counts as near enough.
std::size_t distance(std::string_view wanted, std::string_view name, std::size_t limit) {
  const std::size_t edits = editDistance(wanted, name);
  const bool held = wanted.size() >= 4 && name.find(wanted) != std::string_view::npos;
  return held ? std::min(edits, limit) : edits;
}

}  // namespace

std::vector<std::string_view> nearestNames(std::string_view name, const std::vector<std::string_view>& names) {
  const std::string wanted = upperCase(trimmed(name)).substr(0, kLongestCompared);
  const std::size_t limit = std::max<std::size_t>(2, wanted.size() / 3);
  std::vector<std::pair<std::size_t, std::string_view>> near;
  for (const std::string_view candidate : names) {
    const std::size_t far = distance(wanted, upperCase(candidate), limit);
    if (far <= limit) near.emplace_back(far, candidate);
  }
  std::stable_sort(near.begin(), near.end(), [](const auto& a, const auto& b) {
    return std::pair(a.first, a.second.size()) < std::pair(b.first, b.second.size());
  });
  std::vector<std::string_view> found;
  for (std::size_t i = 0; i < near.size() && i < kMostNames; ++i) found.push_back(near[i].second);
  return found;
}

std::string nearText(const std::vector<std::string_view>& nearest) {
  std::string text;
  for (const std::string_view name : nearest) text += (text.empty() ? "\n  near to it: " : ", ") + std::string(name);
  return text;
}

}  // namespace tool
