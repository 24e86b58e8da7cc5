// A directory "DB" out of a fuzzer's bytes: pieces, each of them one file. A piece is a byte (bits 0 to 2 which file,
// bit 3 whether its sizes and sums are put right, bits 4 to 7 its size in quarters of the smallest), two bytes of
// length, and so many bytes of the file's beginning.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "storage/vornerdd.h"

namespace directory_input {

using namespace vorne;

enum File { kCatalog, kBackup, kJournal, kData };  // from kData on data and offsets files of the first entries in turn

/// Of the catalogue's first entries, as far as they are no paths.
using Names = std::array<std::string, 3>;

inline Names namesIn(std::string_view catalog) {
  Names names;
  for (std::size_t i = 0; i < names.size(); ++i) {
    const std::size_t place = kHeaderSize + i * kCatalogEntrySize;
    names[i] = std::string(catalog.substr(std::min(place, catalog.size()), kLongestName)).c_str();
    if (names[i].find('/') != std::string::npos || names[i] == "." || names[i] == "..") names[i].clear();
  }
  return names;
}

inline std::string nameOf(int file, const Names& names) {
  if (file < kData) return std::array{kCatalogName, kCatalogBackupName, "journal.0"}[static_cast<std::size_t>(file)];
  const std::string& name = names[static_cast<std::size_t>(file - kData) / 2];
  return name.empty() || (file - kData) % 2 == 0 ? name : name + kOffsetsSuffix;
}

inline std::string dataFile(std::string_view piece, std::size_t size, bool right) {
  std::string file(piece);
  if (file.size() < size) file.resize(size);
  if (file.size() < kHeaderSize) return file;
  auto header = Load<FileHeader>(file.data());
  if (right) header.szmap = static_cast<UInt32>(piece.size());
  if (right) header.szallocated = static_cast<UInt32>(file.size());
  // The largest sizes that are taken seriously would only make a run slow.
  if (header.szallocated <= kLargestFile) header.szallocated %= 1 << 16;
  Store(file.data(), header);
  return file;
}

inline std::uint64_t sum(const char* at, std::size_t size) {
  std::uint64_t total = 0xCBF29CE484222325u;
  for (; size >= 8; at += 8, size -= 8) total = (total ^ Load<std::uint64_t>(at)) * 0x100000001B3u;
  for (; size > 0; ++at, --size) total = (total ^ static_cast<unsigned char>(*at)) * 0x100000001B3u;
  return total;
}

// The head of a journal, and what follows it in the input at both places where a journal keeps bytes.
inline std::string journalFile(std::string_view piece, bool right) {
  constexpr std::size_t kEntry = 16, kSums = 136, kHead = 152, kKept = 4096, kInfo = kKept + 0x10000;
  std::string file(kInfo + 0x10000, '\0');
  char* at = file.data();
  piece.copy(at, kHead);
  for (const std::size_t place : {kKept, kInfo}) piece.substr(std::min(kHead, piece.size())).copy(at + place, 0x10000);
  if (!right) return file;
  const bool keeps = Load<UInt32>(at + 4) == 1;
  Store(at, FourChars("LNJT"));
  Store(at + kSums, sum(at + (keeps ? kKept : kInfo), Load<UInt32>(at + kEntry + (keeps ? 88 : 112)) % 0x10001));
  Store(at + kSums + 8, sum(at + kEntry, kSums + 8 - kEntry));
  return file;
}

/// Writes the directory anew.
inline Names writeFiles(std::string_view input) {
  std::filesystem::remove_all("DB");
  std::filesystem::create_directory("DB");
  Names names;
  while (input.size() >= 3) {
    const auto byte = [input](std::size_t i) { return static_cast<unsigned char>(input[i]); };
    const std::string_view piece = input.substr(3, byte(1) + 256u * byte(2));
    const int kind = byte(0) % 8;
    const bool right = (byte(0) & 8) != 0;
    if (kind == kCatalog) names = namesIn(piece);
    if (const std::string name = nameOf(kind, names); !name.empty())
      std::ofstream("DB/" + name, std::ios::binary)
          << (kind == kJournal ? journalFile(piece, right)
                               : dataFile(piece, (byte(0) >> 4) * kSmallestFile / 4, right));
    input.remove_prefix(3 + piece.size());
  }
  return names;
}

}  // namespace directory_input
