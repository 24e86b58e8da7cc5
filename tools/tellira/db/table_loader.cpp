// A row is put into the field buffer cell by cell; the first cell that does not fit stops it before anything is stored.
#include "db/table_loader.h"
#include "db/words.h"

#include <algorithm>
#include <utility>

#include "edge/console.h"
#include "storage/format/record_bytes.h"
#include "text/text.h"

namespace tool {
namespace {

constexpr std::size_t kMostShown = 60;

/// A cell for an error text: no longer than a line, without control characters, and UTF-8 in any case.
std::string readable(std::string_view cell, Encoding encoding) {
  bool latin1 = encoding != Encoding::kUtf8;
  std::string text(cell.substr(0, kMostShown));
  for (char& c : text)
    if (static_cast<unsigned char>(c) < ' ' || (latin1 && (c & 0xE0) == 0x80)) c = '?';
  const std::string end = text.size() < cell.size() ? "..." : "";
  // The cut may have left a part of a character.
  while (!latin1 && !end.empty() && !text.empty() && static_cast<unsigned char>(text.back()) >= 0x80) text.pop_back();
  try {
    if (!latin1) latin1FromUtf8(text);
  } catch (const ConversionError& error) {
    latin1 = std::string_view(error.what()).ends_with("UTF-8");
  }
  return (latin1 ? utf8FromLatin1(text) : text) + end;
}

}  // namespace

std::vector<std::size_t> columnsOf(const Dictionary::Table& table, const std::vector<std::string>& names) {
  std::vector<std::size_t> columns;
  for (const std::string& name : names) {
    // The mark is the field behind all others.
    const std::size_t field = name == kDeletedColumn ? table.fields().size() : table.field(name) - 1;
    if (std::find(columns.begin(), columns.end(), field) != columns.end())
      throw Failure(kUsage, "the field " + name + " is named twice.\n  next: give each column a field of its own.");
    columns.push_back(field);
  }
  return columns;
}

TableLoader::TableLoader(TableSession& session, const Dictionary::Table& table, std::vector<std::size_t> columns,
                         ValueRules rules)
    : load_(session.open(table.name)),
      fields_(load_.fields()),
      columns_(std::move(columns)),
      encoding_(rules.encoding),
      values_(rules) {}

std::string TableLoader::storeMemo(std::size_t field, std::string_view cell) {
  std::string problem;
  const std::string_view text = values_.memo(cell, problem);
  // An empty memo takes no record: the field's 0 stands for it.
  if (!problem.empty() || text.empty()) return problem;
  if (load_.storeMemo(field, text)) return {};
  return "cannot be stored: the table's memo database is missing or damaged.\n  next: `tellira db check` tells.";
}

std::string TableLoader::store(std::size_t column, std::string_view cell) {
  const std::size_t field = columns_[column];
  if (fields_[field].FieldType == TBLMEMO) return storeMemo(field, cell);
  if (field + 1 < fields_.size()) return values_.store(fields_[field], cell, load_.buffer());
  const std::string word = upperCase(cell);
  if (!word.empty() && word != "TRUE" && word != "FALSE") return "is no logical.\n  next: write true or false.";
  vorne::MarkDeleted(fields_, load_.buffer(), word == "TRUE");
  return {};
}

std::string TableLoader::columnText(std::size_t column, std::string_view cell, const std::string& problem) const {
  const bool isMark = columns_[column] + 1 == fields_.size();
  const std::string name = isMark ? kDeletedColumn : shown(fields_[columns_[column]].FieldName);
  const std::string value = readable(cell, encoding_);
  return "column " + std::to_string(column + 1) + " (" + name + "): \"" + value + "\" " + problem;
}

std::string TableLoader::add(const std::vector<std::string_view>& cells) {
  if (cells.size() != columns_.size())
    return std::string("there are too ") + (cells.size() < columns_.size() ? "few" : "many") +
           " columns: " + std::to_string(cells.size()) + ", where the first line names " +
           std::to_string(columns_.size()) + ".\n  next: look for a separator or a quote that is missing or too many.";
  load_.begin();
  for (std::size_t column = 0; column < cells.size(); ++column) {
    const std::string problem = store(column, cells[column]);
    if (!problem.empty()) return columnText(column, cells[column], problem);
  }
  if (!load_.add()) return "the record cannot be stored.\n  next: `tellira db check` tells why.";
  return {};
}

}  // namespace tool
