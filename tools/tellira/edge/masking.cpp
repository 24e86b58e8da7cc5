// A number is taken for a card's if it has a card's length, first digit and check digit and is not something else that
// a sale prints. Six digits in front and four behind stay: enough to find a payment, too few to make one.
#include "edge/masking.h"

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace tool {
namespace {

constexpr std::size_t kLongestCard = 19;
constexpr std::size_t kKeptInFront = 6;
constexpr std::size_t kKeptBehind = 4;

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}
int valueOf(char c) {
  return c - '0';
}

bool passesLuhn(std::string_view digits) {
  int sum = 0;
  bool doubled = false;
  for (auto it = digits.rbegin(); it != digits.rend(); ++it, doubled = !doubled) {
    const int value = doubled ? 2 * valueOf(*it) : valueOf(*it);
    sum += value > 9 ? value - 9 : value;
  }
  return sum % 10 == 0;
}

/// Check digit of product codes (GS1): weights 1 and 3 in turn from the right.
bool isProductCode(std::string_view digits) {
  int sum = 0;
  int weight = 1;
  for (auto it = digits.rbegin(); it != digits.rend(); ++it, weight = 4 - weight) sum += weight * valueOf(*it);
  return sum % 10 == 0;
}

/// Modulo-11 digit of a company's registration number over `digits`, weights 2 to 9 from the right.
int registrationDigit(std::string_view digits) {
  int sum = 0;
  int weight = 2;
  for (auto it = digits.rbegin(); it != digits.rend(); ++it, weight = weight == 9 ? 2 : weight + 1) {
    sum += weight * valueOf(*it);
  }
  return sum % 11 < 2 ? 0 : 11 - sum % 11;
}

// Of 14 digits there are more companies than cards, and a coupon's customer must be readable: what can be a
// registration is not masked.
bool isCompanyRegistration(std::string_view digits) {
  return registrationDigit(digits.substr(0, 12)) == valueOf(digits[12]) &&
         registrationDigit(digits.substr(0, 13)) == valueOf(digits[13]);
}

bool isCard(std::string_view digits) {
  if (digits.size() < 13 || digits.size() > kLongestCard || !passesLuhn(digits)) return false;
  const char first = digits.front();
  switch (digits.size()) {
    case 13:
      return first == '4' && !isProductCode(digits);
    case 14:
      return first == '3' && !isCompanyRegistration(digits);
    case 15:
      return first >= '1' && first <= '3';
    default:
      return first >= '2' && first <= '6';
  }
}

/// One unbroken piece of digits inside the text.
struct Group {
  std::size_t begin;
  std::size_t size;
};

/// The groups from `begin` on that hang together by single blanks or dashes.
std::vector<Group> groupsFrom(std::string_view text, std::size_t begin) {
  std::vector<Group> groups;
  for (;;) {
    std::size_t end = begin;
    while (end < text.size() && isDigit(text[end])) ++end;
    groups.push_back({begin, end - begin});
    const bool goesOn = end + 1 < text.size() && (text[end] == ' ' || text[end] == '-') && isDigit(text[end + 1]);
    if (!goesOn) return groups;
    begin = end + 1;
  }
}

/// Positions in the text of all digits of some groups; stops early once there are too many for a card.
std::vector<std::size_t> positions(std::span<const Group> groups) {
  std::vector<std::size_t> result;
  for (const Group& group : groups) {
    if (result.size() + group.size > kLongestCard) return {};
    for (std::size_t i = 0; i < group.size; ++i) result.push_back(group.begin + i);
  }
  return result;
}

bool maskIfCard(std::string& text, std::span<const Group> groups) {
  const std::vector<std::size_t> at = positions(groups);
  std::string digits;
  for (const std::size_t i : at) digits += text[i];
  if (!isCard(digits)) return false;
  for (std::size_t i = kKeptInFront; i + kKeptBehind < at.size(); ++i) text[at[i]] = '*';
  return true;
}

/// How many of the leading groups look like a card number printed in groups; 0 when they do not.
std::size_t printedCardGroups(std::span<const Group> groups) {
  const auto is = [&](std::initializer_list<std::size_t> sizes) {
    std::size_t i = 0;
    for (const std::size_t size : sizes) {
      if (i >= groups.size() || groups[i++].size != size) return false;
    }
    return true;
  };
  if (is({4, 4, 4, 4})) return groups.size() > 4 && groups[4].size <= 3 ? 5 : 4;
  return is({4, 6, 5}) || is({4, 6, 4}) ? 3 : 0;
}

void maskRun(std::string& text, std::span<const Group> groups) {
  // Most cards come in one piece or fill the whole run; only then parts of it are looked at, since a number may stand
  // beside another one with a blank between.
  if (maskIfCard(text, groups)) return;
  while (!groups.empty()) {
    const std::size_t printed = printedCardGroups(groups);
    std::size_t done = 1;
    if (maskIfCard(text, groups.first(1))) {
      done = 1;
    } else if (printed != 0 && maskIfCard(text, groups.first(printed))) {
      done = printed;
    } else if (printed == 5 && maskIfCard(text, groups.first(4))) {
      done = 4;  // the fifth group was something else, an expiry for example
    }
    groups = groups.subspan(done);
  }
}

}  // namespace

std::string maskCards(std::string_view text) {
  std::string result(text);
  for (std::size_t at = 0; at < result.size(); ++at) {
    if (!isDigit(result[at])) continue;
    const std::vector<Group> groups = groupsFrom(result, at);
    maskRun(result, groups);
    at = groups.back().begin + groups.back().size;
  }
  return result;
}

}  // namespace tool
