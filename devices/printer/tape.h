// The paper: lines of 48 columns, collected during a call and appended to the tape file when it ends.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace printer {

inline constexpr std::size_t kColumns = 48;

class Tape {
 public:
  /// One line, cut at the paper's edge; control characters print as blanks.
  void line(std::string_view text);
  void centred(std::string_view text);
  /// `left` and `right` at the two edges; the left one gives way.
  void pair(std::string_view left, std::string_view right);
  void rule(char with = '-');
  /// Text of the host: its own line breaks (\n, \r\n), long lines folded, at most `lines` lines.
  void text(std::string_view text, std::size_t lines = 200);
  void cut();

  const std::string& printed() const { return printed_; }

 private:
  std::string printed_;
};

}  // namespace printer
