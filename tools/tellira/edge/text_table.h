// A table on standard output: heads, then rows, each column as wide as its widest cell.
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <utility>
#include <vector>

#include "edge/console.h"
#include "text/text.h"

namespace tool {

template <std::size_t N>
class TextTable {
 public:
  using Row = std::array<std::string, N>;

  explicit TextTable(Row heads) : heads_(std::move(heads)) { widen(heads_); }

  void add(Row row) {
    widen(row);
    rows_.push_back(std::move(row));
  }

  void print() const {
    tool::print(styled(Style::kBold, line(heads_)) + "\n");
    for (const Row& row : rows_) tool::print(line(row) + "\n");
  }

 private:
  void widen(const Row& row) {
    for (std::size_t i = 0; i < N; ++i) widths_[i] = std::max(widths_[i], columns(row[i]));
  }

  std::string line(const Row& row) const {
    std::string text;
    for (std::size_t i = 0; i + 1 < N; ++i) text += row[i] + std::string(widths_[i] + 2 - columns(row[i]), ' ');
    return text + row[N - 1];
  }

  Row heads_;
  std::array<std::size_t, N> widths_{};
  std::vector<Row> rows_;
};

}  // namespace tool
