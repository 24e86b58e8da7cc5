// The answer to a query on standard output: as a table to look at, as CSV or as JSON. Rows go out as they come.
#pragma once

#include <memory>
#include <string>
#include <vector>

namespace tool {

enum class SqlFormat { kTable, kCsv, kJson };

struct SqlCell {
  enum Kind { kNull, kNumber, kText };
  Kind kind = kNull;
  std::string text;  ///< UTF-8; empty for kNull
};
using SqlRow = std::vector<SqlCell>;

class SqlOutput {
 public:
  virtual ~SqlOutput() = default;
  virtual void row(const SqlRow& cells) = 0;
  /// To be called behind the last row.
  virtual void end() = 0;
};

/// @param heads names of the columns, in UTF-8
std::unique_ptr<SqlOutput> makeSqlOutput(SqlFormat format, const std::vector<std::string>& heads);

}  // namespace tool
