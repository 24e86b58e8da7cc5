// A row is scanned in the buffer that it was read into, and its cells are views of that: they are good until the next
// row. Quotes that are written twice are made single in place.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

#include "edge/console.h"
#include "edge/csv.h"

namespace tool {
namespace {

constexpr std::size_t kFirstBuffer = 1 << 18;
// Bytes. Without a bound a quote that is never closed would read the whole file into memory.
constexpr std::size_t kLongestRow = 1 << 26;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
constexpr std::string_view kSeparators = ",;\t";

std::size_t index(char c) {
  return static_cast<unsigned char>(c);
}

}  // namespace

CsvReader::CsvReader(int file, std::string name, char separator)
    : file_(file), name_(std::move(name)), separator_(separator), buffer_(kFirstBuffer) {}

std::string CsvReader::place() const {
  return name_ + ", line " + std::to_string(line_);
}

void CsvReader::fail(std::uint64_t line, const std::string& what) const {
  throw Failure(kUsage, name_ + ", line " + std::to_string(line) + ": " + what);
}

// What is left moves to the front; the rest of the buffer, made larger when it is full, is read into. False when there
// is no more.
bool CsvReader::fill() {
  if (atEnd_) return false;
  std::memmove(buffer_.data(), buffer_.data() + at_, end_ - at_);
  end_ -= at_;
  at_ = 0;
  if (end_ == buffer_.size()) {
    if (end_ >= kLongestRow)
      fail(nextLine_, "the row is longer than 64 MB.\n  next: look for a quote that is not closed.");
    buffer_.resize(buffer_.size() * 2);
  }
  const ssize_t got = ::read(file_, buffer_.data() + end_, buffer_.size() - end_);
  // The user wants it to end, even when nothing comes.
  if (got < 0 && errno == EINTR) throw Failure(kNo, "interrupted while " + name_ + " was being read.");
  if (got < 0)
    throw Failure(kEnded, name_ + " cannot be read: " + std::strerror(errno) + ".\n  next: look at the file.");
  atEnd_ = got == 0;
  end_ += static_cast<std::size_t>(got);
  read_ += static_cast<std::uint64_t>(got);
  return !atEnd_;
}

// Before the first row: the byte order mark, and the separator.
void CsvReader::begin() {
  while (end_ - at_ < kByteOrderMark.size() && fill()) {
  }
  const std::string_view start(buffer_.data() + at_, end_ - at_);
  if (start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF"))
    fail(1, "the file is UTF-16.\n  next: save it as UTF-8.");
  if (start.starts_with(kByteOrderMark)) at_ += kByteOrderMark.size();
  const auto left = [this] { return std::string_view(buffer_.data() + at_, end_ - at_); };
  while (separator_ == '\0' && left().find_first_of("\r\n") == std::string_view::npos && fill()) {
  }
  if (separator_ == '\0') settleSeparator(left().substr(0, left().find_first_of("\r\n")));
  for (const char c : {separator_, '\n', '\r'}) endsCell_[index(c)] = true;
}

void CsvReader::settleSeparator(std::string_view text) {
  const auto count = [text](char separator) {
    bool quoted = false;
    return std::count_if(text.begin(), text.end(), [&](char c) {
      quoted ^= c == '"';
      return c == separator && !quoted;
    });
  };
  // Where none occurs, and among equals, the first of them counts: the comma.
  separator_ =
      *std::max_element(kSeparators.begin(), kSeparators.end(), [&](char a, char b) { return count(a) < count(b); });
}

// Behind an opening quote: to the place behind the closing one, or null when the buffer ends before that is known.
char* CsvReader::scanQuoted(char* at, Raw& cell) {
  char* const end = buffer_.data() + end_;
  cell = {at, at, false};
  for (;;) {
    auto* quote = static_cast<char*>(std::memchr(at, '"', static_cast<std::size_t>(end - at)));
    if (quote == nullptr && atEnd_) {
      const auto breaks = static_cast<std::uint64_t>(std::count(buffer_.data() + at_, cell.begin, '\n'));
      fail(nextLine_ + breaks, "the quote of cell " + std::to_string(raw_.size() + 1) +
                                   " is never closed.\n  next: close it, or write a quote inside a cell twice.");
    }
    if (quote == nullptr || (quote + 1 == end && !atEnd_)) return nullptr;
    if (quote + 1 == end || quote[1] != '"') {
      cell.end = quote;
      return quote + 1;
    }
    cell.doubled = true;
    at = quote + 2;
  }
}

// Takes the next row apart, blank or not; needs the buffer to hold it whole, its line end included.
CsvReader::Scan CsvReader::scanRow() {
  char* at = buffer_.data() + at_;
  char* const end = buffer_.data() + end_;
  raw_.clear();
  lineBreaks_ = 0;
  for (;;) {
    Raw cell = {at, at, false};
    const bool quoted = at < end && *at == '"';
    if (quoted) {
      if ((at = scanQuoted(at + 1, cell)) == nullptr) return Scan::kNeedsMore;
      for (const char* c = cell.begin; c < cell.end; ++c) lineBreaks_ += *c == '\n' || (*c == '\r' && c[1] != '\n');
    } else {
      while (at < end && !endsCell_[index(*at)]) ++at;
      cell.end = at;
    }
    raw_.push_back(cell);
    if (at == end) {
      if (!atEnd_) return Scan::kNeedsMore;
      break;
    }
    if (!endsCell_[index(*at)])
      fail(nextLine_ + lineBreaks_, "there is text behind the closing quote of cell " + std::to_string(raw_.size()) +
                                        ".\n  next: write a quote inside a cell twice.");
    const char c = *at++;
    if (c == separator_) continue;
    // A carriage return may be the first half of a line end.
    if (c == '\r' && at == end && !atEnd_) return Scan::kNeedsMore;
    if (c == '\r' && at < end && *at == '\n') ++at;
    ++lineBreaks_;
    break;
  }
  rowEnd_ = static_cast<std::size_t>(at - buffer_.data());
  return Scan::kRow;
}

void CsvReader::takeCells() {
  cells_.clear();
  for (Raw& cell : raw_) {
    if (cell.doubled) {
      char* to = cell.begin;
      for (const char* from = cell.begin; from < cell.end; ++from) {
        *to++ = *from;
        if (*from == '"') ++from;
      }
      cell.end = to;
    }
    cells_.emplace_back(cell.begin, static_cast<std::size_t>(cell.end - cell.begin));
  }
}

bool CsvReader::next() {
  if (nextLine_ == 1 && line_ == 0) begin();
  for (;;) {
    // A row that the buffer cuts is scanned again from its beginning: that is rare, and keeping the state of a scan
    // would cost every row.
    while (scanRow() == Scan::kNeedsMore) fill();
    if (at_ == end_ && atEnd_) return false;
    // Not even quotes: "" is a row with one empty cell.
    const bool blank = raw_.size() == 1 && raw_[0].begin == raw_[0].end && raw_[0].begin == buffer_.data() + at_;
    line_ = nextLine_;
    nextLine_ += lineBreaks_;
    at_ = rowEnd_;
    if (blank) continue;
    takeCells();
    return true;
  }
}

bool needsQuotes(std::string_view text, char separator) {
  return std::any_of(text.begin(), text.end(),
                     [separator](char c) { return c == separator || c == '"' || c == '\n' || c == '\r'; });
}

char separatorIn(const std::string& text) {
  if (text.empty()) return '\0';
  if (text == "tab" || text == "\\t") return '\t';
  if (text.size() == 1 && text != "\"" && text != "\n" && text != "\r") return text[0];
  throw Failure(kUsage, "\"" + text +
                            "\" cannot separate cells.\n  next: take one character, as in --separator ';', or "
                            "the word tab.");
}

}  // namespace tool
