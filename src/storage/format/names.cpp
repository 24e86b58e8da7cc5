// Names compare without regard to small and capital letters, but a file has the one spelling that the catalogue tells.
#include "storage/format/names.h"

#include <algorithm>
#include <cstring>

namespace vorne {

std::string_view ShortName(const char* name) {
  return {name, ::strnlen(name, kLongestName)};
}

std::string FoldedName(std::string_view name) {
  std::string folded(name);
  // Only A to Z: the host's locale must not decide which names are the same.
  for (char& c : folded)
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  return folded;
}

std::string OffsetsName(std::string_view name) {
  return std::string(name) + kOffsetsSuffix;
}

std::string NameOf(const DatabaseHdrType& entry) {
  return {entry.name, ::strnlen(entry.name, kLongestName)};
}

bool IsTemporaryName(std::string_view name) {
  const std::string folded = FoldedName(name);
  const auto ends = [&folded](const char* suffix) { return folded.ends_with(FoldedName(suffix)); };
  return ends(kReceivedSuffix) || ends(kSentSuffix) || ends(kInstallSuffix) || ends(kListSuffix);
}

bool IsFileName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." && name.find_first_of(std::string_view("/\0", 2)) == name.npos;
}

bool IsDatabaseName(std::string_view name) {
  const auto isPrintable = [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != 0x7F && c != '\\'; };
  return IsFileName(name) && name.size() <= kLongestName && std::all_of(name.begin(), name.end(), isPrintable) &&
         !IsReservedName(name);
}

}  // namespace vorne
