#include "synchost/csv_rows.h"

#include <algorithm>

#include "db/field_definitions.h"
#include "edge/console.h"
#include "storage/format/record_bytes.h"

namespace synchost {
namespace {

void appendCell(std::string& to, const std::string& text) {
  if (!tool::needsQuotes(text, ',')) {
    to += text;
    return;
  }
  to += '"';
  for (const char c : text) {
    if (c == '"') to += '"';
    to += c;
  }
  to += '"';
}

std::string valueText(const ControlFieldTBL& field, const char* buffer) {
  std::string text;
  if (field.FieldType == TBLNUM) tool::appendNumber(text, field.FieldDecLen, vorne::NumberIn(field, buffer));
  if (field.FieldType == TBLDATE) tool::appendDate(text, vorne::NumberIn(field, buffer));
  if (field.FieldType == TBLBOOL) text = vorne::LogicalIn(field, buffer) ? "true" : "false";
  if (field.FieldType == TBLSTRING) tool::appendUtf8(text, vorne::TextIn(field, buffer));
  return text;
}

}  // namespace

void AppendHead(std::string& to, const Table& table) {
  for (std::size_t i = 0; i + 1 < table.fields.size(); ++i)
    to += (i == 0 ? "" : ",") + std::string(table.fields[i].FieldName);
  to += '\n';
}

void AppendRow(std::string& to, const Table& table, RecordBuffer& buffer, vorne::Bytes content) {
  const vorne::SentRecord record = RecordIn(table, content);
  buffer.load(record.record);
  std::size_t memo = 0;
  for (std::size_t i = 0; i + 1 < table.fields.size(); ++i) {
    if (i != 0) to += ',';
    std::string text = valueText(table.fields[i], buffer.bytes());
    if (table.fields[i].FieldType == TBLMEMO && memo < record.memos.size()) {
      const vorne::Bytes bytes = record.memos[memo++];
      tool::appendUtf8(text, {bytes.data(), bytes.size()});
    }
    appendCell(to, text);
  }
  to += '\n';
}

CsvRecords::CsvRecords(const Table& table, tool::CsvReader& reader, tool::ValueRules rules)
    : table_(table), reader_(reader), values_(rules), buffer_(table) {
  if (!reader_.next()) tool::refuse(reader_.name() + " is empty", "write a first line with the names of fields");
  for (const std::string_view cell : reader_.cells()) {
    const std::uint32_t number = vorne::FieldNumber(table_.fields, cell);
    if (number == 0 || number == table_.fields.size())
      tool::refuse("\"" + std::string(cell) + "\" in " + reader_.place() + " is no field of " + table_.name,
                   "the first line names fields, as `tellira synchost export` writes them");
    fields_.push_back(number - 1);
  }
}

std::optional<KeptRecord> CsvRecords::next() {
  if (!reader_.next()) return {};
  const std::vector<std::string_view>& cells = reader_.cells();
  if (cells.size() != fields_.size())
    tool::refuse(reader_.place() + " has " + std::to_string(cells.size()) + " cells instead of " +
                     std::to_string(fields_.size()),
                 "look for a separator or a quote that is missing or too many");
  buffer_.clear();
  std::vector<std::string> memos(table_.memoFields);
  for (std::size_t column = 0; column < cells.size(); ++column) {
    const ControlFieldTBL& field = table_.fields[fields_[column]];
    std::string problem;
    if (field.FieldType == TBLMEMO) {
      const auto isMemo = [](const ControlFieldTBL& one) { return one.FieldType == TBLMEMO; };
      const auto place =
          std::count_if(table_.fields.begin(), table_.fields.begin() + static_cast<long>(fields_[column]), isMemo);
      memos[static_cast<std::size_t>(place)] = values_.memo(cells[column], problem);
    } else {
      problem = values_.store(field, cells[column], buffer_.bytes());
    }
    if (!problem.empty())
      throw tool::Failure(tool::kUsage, reader_.place() + ", field " + field.FieldName + ": \"" +
                                            std::string(cells[column].substr(0, 60)) + "\" " + problem);
  }
  auto record = buffer_.kept({memos.begin(), memos.end()});
  if (!record) tool::refuse(reader_.place() + " makes a record that is longer than a packet", "shorten its memos");
  return record;
}

}  // namespace synchost
