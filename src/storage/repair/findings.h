// What is found in one file, bounded: a file of garbage must not make a report as long as itself.
#pragma once

#include "storage/files/diagnostic_log.h"
#include "storage/repair/report.h"

namespace vorne {

class Findings {
 public:
  /// @param most damage and notes are listed, that many of each; the rest is counted
  explicit Findings(std::string file, std::size_t most = 100) : file_(std::move(file)), most_(most) {}

  /// `record` counts from 1.
  void damage(std::string text, std::int64_t record = -1) { add(problems_, problemCount_, std::move(text), record); }
  void note(std::string text, std::int64_t record = -1) { add(notes_, noteCount_, std::move(text), record); }

  bool sound() const { return problemCount_ == 0; }
  const std::string& file() const { return file_; }

  /// Appends all of it to the report; `repaired` and `byHand` are for the damage.
  void tell(DirectoryReport& report, bool repaired, bool byHand = false) const;

 private:
  void add(std::vector<Problem>& list, std::uint64_t& count, std::string text, std::int64_t record);

  std::string file_;
  std::size_t most_;
  std::vector<Problem> problems_, notes_;
  std::uint64_t problemCount_ = 0, noteCount_ = 0;
};

}  // namespace vorne
