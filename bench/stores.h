// The stores that bench_records compares, each doing the same work on the same records.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "timing.h"

constexpr std::uint32_t kRecords = 1000000;
constexpr std::size_t kRecordSize = 100;
constexpr std::size_t kWords = kRecordSize / 8;  // and four bytes more
using Record = std::array<char, kRecordSize>;

/// The content of record `index` after `updates` updates: every word differs from record to record.
inline Record ContentOf(std::uint32_t index, std::uint32_t updates) {
  const std::uint64_t seed = (index + updates * std::uint64_t{kRecords} + 1) * 0x9E3779B97F4A7C15u;
  std::array<std::uint64_t, kWords + 1> words;
  for (std::size_t i = 0; i < words.size(); ++i) words[i] = seed + i;
  Record record;
  std::memcpy(record.data(), words.data(), record.size());
  return record;
}

/// A sum that all bytes of a record have a part in.
inline std::uint64_t SumOf(const void* record) {
  const char* at = static_cast<const char*>(record);
  std::uint64_t sum = 0, word = 0;
  for (std::size_t i = 0; i < kWords; ++i, at += sizeof word) {
    std::memcpy(&word, at, sizeof word);
    sum += word;
  }
  std::uint32_t rest = 0;
  static_assert(kRecordSize - kWords * sizeof word == sizeof rest);
  std::memcpy(&rest, at, sizeof rest);
  return sum + rest;
}

/// All indexes, in an order without order.
inline const std::vector<std::uint32_t>& Shuffled() {
  static const std::vector<std::uint32_t> indexes = [] {
    std::vector<std::uint32_t> all(kRecords);
    std::iota(all.begin(), all.end(), 0u);
    std::shuffle(all.begin(), all.end(), std::mt19937{});
    return all;
  }();
  return indexes;
}

/// One store, with its files in the working directory. Between `open` and `close` the others may be called.
class Store {
 public:
  virtual ~Store() = default;
  virtual void empty() = 0;  ///< closed: leaves no records
  virtual void open() = 0;   ///< ready to read: the first record has been read
  virtual void close() = 0;
  virtual void append() = 0;                       ///< all records, into an empty store
  virtual std::uint64_t readInOrder() = 0;         ///< the sum over all records
  virtual std::uint64_t readShuffled() = 0;        ///< the same, in the order of Shuffled
  virtual void update(std::uint32_t updates) = 0;  ///< gives every record its content after so many updates
};

/// `flushing`: the system is told of each record (bBatchOper off).
std::unique_ptr<Store> OurStore(bool flushing);
std::unique_ptr<Store> SqliteStore();
std::unique_ptr<Store> LmdbStore();
