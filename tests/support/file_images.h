// The files of a data directory as bytes, made by hand from the format and not by the code that is tested.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace images {

using Bytes = std::string;

/// Little-endian, `size` bytes at `offset`.
inline void put(Bytes& file, std::size_t offset, std::uint64_t value, int size) {
  for (int i = 0; i < size; ++i) file.at(offset + i) = static_cast<char>(value >> 8 * i);
}
inline std::uint32_t get(const Bytes& file, std::size_t offset, int size) {
  std::uint32_t value = 0;
  for (int i = size; i-- > 0;) value = value << 8 | static_cast<unsigned char>(file.at(offset + i));
  return value;
}

/// The same as bytes of their own.
inline Bytes le(std::uint64_t value, int size = 4) {
  Bytes bytes(static_cast<std::size_t>(size), '\0');
  put(bytes, 0, value, std::min<int>(size, sizeof value));
  return bytes;
}

/// Fills a file of `size` bytes up behind `content` and tells its header what it uses.
inline Bytes sized(Bytes content, std::size_t size = 15360) {
  const std::size_t used = content.size();
  content.resize(std::max(used, size));
  put(content, 12, content.size(), 4);
  put(content, 16, used, 4);
  return content;
}

/// A finished record, with `spare` reserved behind what it uses.
inline Bytes record(const Bytes& bytes, const Bytes& spare = "", unsigned attributes = 0x40) {
  return le(bytes.size(), 2) + le(bytes.size() + spare.size(), 2) + le(attributes, 2) + "\xFF\xFF" + bytes + spare;
}

/// A data file of kind 'V', 'B' or 'X' that counts `count` records; `content` is its records as they stand.
inline Bytes fileOf(char kind, const Bytes& appInfo, std::size_t count, const Bytes& content,
                    std::size_t size = 15360) {
  return sized(Bytes("\2") + kind + le(0, 2) + le(appInfo.size()) + le(count) + le(0, 8) + appInfo + content, size);
}

/// The same with finished records that take no more room than they need.
inline Bytes dataFile(char kind, const Bytes& appInfo, const std::vector<Bytes>& records, std::size_t size = 15360) {
  Bytes content;
  for (const Bytes& bytes : records) content += record(bytes);
  return fileOf(kind, appInfo, records.size(), content, size);
}

/// Where the records of such a file begin.
inline std::vector<std::uint32_t> places(const Bytes& data) {
  std::vector<std::uint32_t> all;
  std::uint32_t place = 20 + get(data, 4, 4);
  for (std::uint32_t i = 0; i < get(data, 8, 4); ++i) {
    all.push_back(place);
    place += 8 + get(data, place + 2, 2);
  }
  return all;
}

/// The records of a file without damage.
inline std::vector<Bytes> records(const Bytes& data) {
  std::vector<Bytes> all;
  for (const std::uint32_t place : places(data)) all.push_back(data.substr(place + 8, get(data, place, 2)));
  return all;
}

/// An offsets file with those slots.
inline Bytes offsetsOf(const std::vector<std::uint32_t>& slots) {
  Bytes file(20, '\0');
  for (const std::uint32_t slot : slots) file += le(slot);
  return sized(file);
}

/// The offsets file that belongs to a data file.
inline Bytes offsetsFile(const Bytes& data) {
  return offsetsOf(places(data));
}

/// A catalogue: names and four-character types, in the order of their slots; an empty name is a free slot.
inline Bytes catalog(const std::vector<std::pair<std::string, std::string>>& entries) {
  Bytes file(20, '\0');
  for (const auto& [name, type] : entries) {
    Bytes entry(88, '\0');
    entry.replace(0, name.size(), name);
    if (!name.empty()) {
      for (const int date : {36, 52}) entry.replace(date, 8, le(2026, 2) + le(3, 2) + le(0, 2) + le(15, 2));
      entry.replace(76, 4, Bytes(type.rbegin(), type.rend()));
      entry.replace(80, 4, "RLLT");
    }
    file += entry;
  }
  return sized(file);
}

}  // namespace images
