// A table on standard output: heads, then rows, each column as wide as its widest cell, lines cut to a terminal's
// width.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <array>
#include <numeric>
#include <string>
#include <utility>
#include <vector>

#include "edge/console.h"
#include "edge/terminal.h"
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
    const std::size_t width = terminalWidth(STDOUT_FILENO);
    const auto fitting = [&](const Row& row) { return width == 0 ? line(row) : cutTo(width, line(row)); };
    tool::print(styled(Style::kBold, fitting(heads_)) + "\n");
    for (const Row& row : rows_) tool::print(fitting(row) + "\n");
  }

  /// Columns of the widest line.
  std::size_t width() const { return std::accumulate(widths_.begin(), widths_.end(), (N - 1) * kGap); }

 private:
  static constexpr std::size_t kGap = 2;

  void widen(const Row& row) {
    for (std::size_t i = 0; i < N; ++i) widths_[i] = std::max(widths_[i], columns(row[i]));
  }

  std::string line(const Row& row) const {
    std::string text;
    for (std::size_t i = 0; i + 1 < N; ++i) text += row[i] + std::string(widths_[i] + kGap - columns(row[i]), ' ');
    return text + row[N - 1];
  }

  Row heads_;
  std::array<std::size_t, N> widths_{};
  std::vector<Row> rows_;
};

}  // namespace tool
