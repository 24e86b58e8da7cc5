// The stores that bench_tables compares: one table with an index on the code and one on the name, kept by each in its
// own way, with its files in the working directory.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "timing.h"

struct TableRow {
  char code[13];  // twelve digits
  char name[31];
  double price;
  int day;  // since 30 December 1899
  bool flag;
};

/// Row `i`: codes come in no order, and every third name is there again.
inline TableRow MakeRow(std::uint32_t i, std::uint32_t salt = 0) {
  const std::uint64_t mixed = (i + salt * 10'000'019ull + 1) * 0x9E3779B97F4A7C15u;
  TableRow row;
  std::snprintf(row.code, sizeof row.code, "%012llu", static_cast<unsigned long long>(mixed % 1'000'000'000'000ull));
  std::snprintf(row.name, sizeof row.name, "Produto numero %014llu",
                static_cast<unsigned long long>((i / 3 + 1) * 0xD1B54A32D192ED03u % 100'000'000'000'000ull));
  row.price = static_cast<double>(i % 100'000) / 100;
  row.day = 30'000 + static_cast<int>(i % 10'000);
  row.flag = i % 2 == 0;
  return row;
}

/// Made before anything is measured: making one takes as long as storing it.
inline std::vector<TableRow> preparedRows;
inline const TableRow& RowOf(std::uint32_t i) {
  while (i >= preparedRows.size()) preparedRows.push_back(MakeRow(static_cast<std::uint32_t>(preparedRows.size())));
  return preparedRows[i];
}

class TableStore {
 public:
  virtual ~TableStore() = default;
  /// A new table with these rows and two indexes, which are there before the rows or made afterwards; then open.
  virtual void load(std::uint32_t rows, bool indexesFirst) = 0;
  virtual void close() = 0;
  /// The sum of the prices of the rows with these codes.
  virtual double seek(const std::vector<std::string>& codes) = 0;
  virtual double scan() = 0;  ///< the sum of all prices, in the order of the codes
  virtual void append(std::uint32_t from, const std::vector<std::uint32_t>& rows) = 0;  ///< one by one, `from` on
  virtual void setPrices(const std::vector<std::uint32_t>& rows) = 0;                   ///< of rows counted from 0
  virtual void setCodes(const std::vector<std::uint32_t>& rows) = 0;
};

std::unique_ptr<TableStore> OurTable();
std::unique_ptr<TableStore> SqliteTable();
std::unique_ptr<TableStore> LmdbTable();
