// CSV as it is met in the wild: cells in quotes or not, a quote inside quotes doubled, lines that end with LF, CRLF or
// CR, line breaks inside quotes, a byte order mark, blank lines, and a last line without an end.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tool {

/// Reads a file row by row in a buffer that only grows for a row that does not fit in.
class CsvReader {
 public:
  /// @param file descriptor, read to its end; stays the caller's
  /// @param name of the file in error texts
  /// @param separator 0: the one of comma, semicolon and tab that the first row has most of
  CsvReader(int file, std::string name, char separator = '\0');
  CsvReader(const CsvReader&) = delete;
  CsvReader& operator=(const CsvReader&) = delete;

  /// Reads the next row that is not blank. False at the end of the file.
  /// @throws Failure (kUsage) for what is no CSV, (kEnded) when the file cannot be read
  bool next();
  /// The row's cells as they stood in the file, without quotes; good until the next call of next().
  const std::vector<std::string_view>& cells() const { return cells_; }
  /// The line that the row begins on, from 1.
  std::uint64_t line() const { return line_; }
  /// "sales.csv, line 12"
  std::string place() const;
  const std::string& name() const { return name_; }
  char separator() const { return separator_; }
  /// Bytes read so far.
  std::uint64_t bytes() const { return read_ - (end_ - at_); }

 private:
  struct Raw {
    char* begin;
    char* end;
    bool doubled;  // has doubled quotes
  };
  enum class Scan { kRow, kNeedsMore };

  bool fill();
  void begin();
  Scan scanRow();
  char* scanQuoted(char* at, Raw& cell);
  void settleSeparator(std::string_view text);
  void takeCells();
  [[noreturn]] void fail(std::uint64_t line, const std::string& what) const;

  int file_;
  std::string name_;
  char separator_;
  std::vector<char> buffer_;
  std::size_t at_ = 0, end_ = 0;  // what is left in the buffer
  std::uint64_t read_ = 0;
  bool atEnd_ = false;
  std::array<bool, 256> endsCell_{};
  std::vector<Raw> raw_;
  std::vector<std::string_view> cells_;
  std::uint64_t line_ = 0, nextLine_ = 1;
  std::size_t rowEnd_ = 0;
  std::uint64_t lineBreaks_ = 0;  // in the row just scanned
};

/// The separator that a user named: a character or the word tab; 0 for an empty text.
/// @throws Failure (kUsage) for what cannot be one
char separatorIn(const std::string& text);

/// True when a cell must stand in quotes.
bool needsQuotes(std::string_view text, char separator);

}  // namespace tool
