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

/// Removes the records from `first` on of a database that may be open or not.
bool cutOff(const std::string& name, std::uint32_t first) {
  const LocalID id = DmFindDatabase(0, name.c_str());
  if (id == 0) return false;
  DmOpenRef db = DmOpenDatabase(0, id, 3);
  const std::uint32_t count = DmNumRecords(db);
  const bool cut = count <= first || ExcluirFaixa(db, first, count - 1) == errNone;
  DmCloseDatabase(db);
  return cut;
}

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
    const std::size_t field = name == kDeletedColumn ? table.fields().size() : table.field(name) - 1;
    if (std::find(columns.begin(), columns.end(), field) != columns.end())
      throw Failure(kUsage, "the field " + name + " is named twice.\n  next: give each column a field of its own.");
    columns.push_back(field);
  }
  return columns;
}

TableLoader::TableLoader(TableSession& session, const Dictionary::Table& table, std::vector<std::size_t> columns,
                         ValueRules rules)
    : table_(table),
      area_(session.open(table.name)),
      rdd_(*vorne::AreaAt(area_)),
      fields_(vorne::FieldsOf(rdd_)),
      columns_(std::move(columns)),
      encoding_(rules.encoding),
      values_(rules),
      firstRecord_(DmNumRecords(rdd_.TBL_appinfo->TBL_dbRef)),
      firstMemo_(DmNumRecords(rdd_.TBL_memo)) {}

std::string TableLoader::storeMemo(std::size_t field, std::string_view cell) {
  std::string problem;
  const std::string_view text = values_.memo(cell, problem);
  if (!problem.empty() || text.empty()) return problem;
  // Its zero is stored with it.
  memo_.assign(text);
  if (WriteMemo(area_, static_cast<int>(field) + 1, memo_.c_str(), static_cast<int>(memo_.size()) + 1) == 1) return {};
  return "cannot be stored: the table's memo database is missing or damaged.\n  next: `tellira db check` tells.";
}

std::string TableLoader::store(std::size_t column, std::string_view cell) {
  const std::size_t field = columns_[column];
  if (fields_[field].FieldType == TBLMEMO) return storeMemo(field, cell);
  if (field + 1 < fields_.size()) return values_.store(fields_[field], cell, rdd_.TBL_buff);
  const std::string word = upperCase(cell);
  if (!word.empty() && word != "TRUE" && word != "FALSE") return "is no logical.\n  next: write true or false.";
  vorne::MarkDeleted(fields_, rdd_.TBL_buff, word == "TRUE");
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
  vorne::BlankFields(fields_, rdd_.TBL_buff);
  for (std::size_t column = 0; column < cells.size(); ++column) {
    const std::string problem = store(column, cells[column]);
    if (!problem.empty()) return columnText(column, cells[column], problem);
  }
  if (__WriteRecord(area_, 'T') != 1) return "the record cannot be stored.\n  next: `tellira db check` tells why.";
  ++added_;
  return {};
}

bool TableLoader::takeBack() {
  const bool cut =
      cutOff(table_.name, firstRecord_) && (!table_.hasMemo() || cutOff(table_.name + vorne::kMemoSuffix, firstMemo_));
  // Without an area the runtime has ended: indexes that do not fit are made anew when the table is opened next.
  if (vorne::AreaAt(area_) != nullptr) {
    rdd_.TBL_append = rdd_.TBL_fieldchanged = 0;
    rdd_.TBL_recpos = -1;
    __Reindex();
  }
  return cut;
}

}  // namespace tool
