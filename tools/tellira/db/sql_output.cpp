// Values keep their kinds on the way out: numbers and NULL are no texts in JSON, and numbers stand right-aligned in a
// table.
#include "db/sql_output.h"

#include <unistd.h>

#include <algorithm>
#include <set>
#include <utility>

#include "edge/console.h"
#include "edge/csv.h"
#include "edge/json_text.h"
#include "edge/terminal.h"
#include "text/text.h"

namespace tool {
namespace {

// Columns are as wide as the first rows need; the rows behind them are not waited for.
class TableOutput : public SqlOutput {
 public:
  explicit TableOutput(const std::vector<std::string>& heads) : widths_(heads.size()) {
    for (const std::string& head : heads) heads_.push_back({SqlCell::kText, visible(head)});
    widen(heads_);
  }

  void row(const SqlRow& cells) override {
    SqlRow shown;
    for (const SqlCell& cell : cells) shown.push_back({cell.kind, visible(cell.text)});
    if (!isSettled_) widen(shown);
    waiting_.push_back(std::move(shown));
    if (isSettled_ || waiting_.size() >= kRowsForWidths) flush();
  }
  void end() override { flush(); }

 private:
  // Enough for most answers to be seen as a whole; a larger one begins to show, and is not kept in memory.
  static constexpr std::size_t kRowsForWidths = 1000;

  // A line break or an escape sequence in a text must not leave its cell.
  static std::string visible(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' ' || c == 0x7F; }, ' ');
    return text;
  }

  void widen(const SqlRow& cells) {
    for (std::size_t i = 0; i < cells.size(); ++i) widths_[i] = std::max(widths_[i], columns(cells[i].text));
  }

  std::string line(const SqlRow& cells) const {
    std::string text;
    for (std::size_t i = 0; i < cells.size(); ++i) {
      const std::string padding(widths_[i] - std::min(widths_[i], columns(cells[i].text)), ' ');
      text += cells[i].kind == SqlCell::kNumber ? padding + cells[i].text : cells[i].text + padding;
      text += "  ";
    }
    text.erase(text.find_last_not_of(' ') + 1);
    return text;
  }

  // A line that the terminal breaks would put cells under others' heads.
  std::string seen(const std::string& text) const { return width_ == 0 ? text : cutTo(width_, text); }

  void flush() {
    if (!std::exchange(isSettled_, true)) printRaw(styled(Style::kBold, seen(line(heads_))) + "\n");
    for (const SqlRow& cells : waiting_) printRaw(seen(line(cells)) + "\n");
    waiting_.clear();
  }

  const std::size_t width_ = terminalWidth(STDOUT_FILENO);
  SqlRow heads_;
  std::vector<std::size_t> widths_;
  std::vector<SqlRow> waiting_;
  bool isSettled_ = false;
};

class CsvOutput : public SqlOutput {
 public:
  explicit CsvOutput(const std::vector<std::string>& heads) {
    SqlRow cells;
    for (const std::string& head : heads) cells.push_back({SqlCell::kText, head});
    row(cells);
  }

  void row(const SqlRow& cells) override {
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) line += (i == 0 ? "" : ",") + quoted(cells[i].text);
    // A line without anything would be taken for no row.
    printRaw((line.empty() ? "\"\"" : line) + "\n");
  }
  void end() override {}

 private:
  static std::string quoted(const std::string& text) {
    if (!needsQuotes(text, ',')) return text;
    std::string result = "\"";
    for (const char c : text) result += c == '"' ? "\"\"" : std::string(1, c);
    return result + "\"";
  }
};

class JsonOutput : public SqlOutput {
 public:
  // Two columns of one name would be one member.
  explicit JsonOutput(const std::vector<std::string>& heads) {
    std::set<std::string> used;
    for (const std::string& head : heads) {
      std::string name = head;
      for (int number = 2; !used.insert(name).second; ++number) name = head + "_" + std::to_string(number);
      members_.push_back(dumped(name) + ":");
    }
  }

  void row(const SqlRow& cells) override {
    std::string object;
    for (std::size_t i = 0; i < cells.size(); ++i) object += (i == 0 ? "" : ",") + members_[i] + valueOf(cells[i]);
    printRaw(std::string(std::exchange(any_, true) ? ",\n " : "[") + "{" + object + "}");
  }
  void end() override { printRaw(any_ ? "]\n" : "[]\n"); }

 private:
  static std::string dumped(const std::string& text) { return Json(text).text(); }
  static std::string valueOf(const SqlCell& cell) {
    if (cell.kind == SqlCell::kText) return dumped(cell.text);
    return cell.kind == SqlCell::kNumber && isJson(cell.text) ? cell.text : "null";
  }

  std::vector<std::string> members_;
  bool any_ = false;
};

}  // namespace

std::unique_ptr<SqlOutput> makeSqlOutput(SqlFormat format, const std::vector<std::string>& heads) {
  if (format == SqlFormat::kCsv) return std::make_unique<CsvOutput>(heads);
  if (format == SqlFormat::kJson) return std::make_unique<JsonOutput>(heads);
  return std::make_unique<TableOutput>(heads);
}

}  // namespace tool
