// A run is a list of positions, read in pieces: made by an index or a record's number at the start, or, for a scan of
// the whole table, number after number as long as there are records.
#include "cursor.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "values.h"

namespace vornetab {
namespace {

constexpr std::uint32_t kScanAtOnce = 1024;  // records; what they take in bytes is limited where they are read

}  // namespace

void Cursor::start(const Plan& plan, int count, sqlite3_value** values) {
  // Keys that were made from the records, for an index that does not fit, serve as long as the same index is asked.
  if (plan.index != plan_.index) made_.reset();
  plan_ = plan;
  positions_.clear();
  next_ = place_ = 0;
  rows_.clear();
  isWholeTable_ = plan.access == Access::kScan;
  isAtEnd_ = false;
  if (plan.access == Access::kRecord && count > 0) chooseRecord(values[0]);
  if (plan.access == Access::kIndex) chooseByIndex(values);
  next();
}

void Cursor::chooseRecord(sqlite3_value* value) {
  const int type = sqlite3_value_numeric_type(value);
  if (type != SQLITE_INTEGER && type != SQLITE_FLOAT) return;
  const double number = sqlite3_value_double(value);
  // Any other number is no record's: the answer is empty then.
  if (number >= 1 && number <= std::numeric_limits<std::uint32_t>::max() && number == std::trunc(number))
    positions_ = {static_cast<std::uint32_t>(number) - 1};
}

void Cursor::chooseByIndex(sqlite3_value** values) {
  const std::vector<std::uint32_t>& key = reader_.indexes()[plan_.index].fields;
  const std::vector<vorne::TableField>& fields = reader_.fields();
  vorne::KeyList list = reader_.find(plan_.index, rangesOf(fields[key.front()], plan_, values), made_);
  std::vector<vorne::TableField> sorted;
  for (std::size_t i = 0; i < plan_.sortedFields; ++i) sorted.push_back(fields[key[i]]);
  if (!sorted.empty()) vorne::SortByValues(sorted, list);
  positions_.resize(list.count());
  for (std::size_t i = 0; i < positions_.size(); ++i) positions_[i] = list.position(i);
  // Without an order to keep, the file is read from its beginning to its end.
  if (sorted.empty()) std::sort(positions_.begin(), positions_.end());
  if (plan_.descending) std::reverse(positions_.begin(), positions_.end());
}

// False when there are no more.
bool Cursor::readMore() {
  if (isWholeTable_ && next_ == positions_.size()) {
    const std::uint32_t from = positions_.empty() ? 0 : positions_.back() + 1;
    positions_.resize(kScanAtOnce);
    std::iota(positions_.begin(), positions_.end(), from);
    next_ = 0;
  }
  if (next_ == positions_.size()) return false;
  reader_.read(std::span(positions_).subspan(next_), plan_.memos, rows_);
  place_ = 0;
  next_ += rows_.taken;
  // Positions behind the end have no rows.
  return !isWholeTable_ || !rows_.places.empty();
}

void Cursor::next() {
  do {
    while (place_ == rows_.places.size()) {
      isAtEnd_ = !readMore();
      if (isAtEnd_) return;
    }
    row_.load(rows_, place_++);
  } while (row_.isDeleted() && !plan_.deleted);
}

void Cursor::column(sqlite3_context* context, int number) const {
  if (number == kDeletedColumn) return sqlite3_result_int(context, row_.isDeleted());
  if (number == kRecnoColumn) return sqlite3_result_int64(context, recno());
  const auto field = static_cast<std::size_t>(number - kFirstField);
  giveField(context, reader_.fields()[field], row_, field);
}

}  // namespace vornetab
