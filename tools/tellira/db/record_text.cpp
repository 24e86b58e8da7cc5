#include "db/record_text.h"

#include "db/field_values.h"
#include "db/table_loader.h"
#include "edge/csv.h"
#include "edge/masking.h"

namespace tool {
namespace {

using vorne::CellType;
using vorne::Row;
using vorne::TableField;
using vorne::TableReader;

bool isText(CellType type) {
  return type == CellType::kText || type == CellType::kMemo;
}

std::string_view textIn(const TableField& field, const Row& row, std::size_t number) {
  return field.type == CellType::kMemo ? row.memo(number) : row.text(number);
}

/// Adds what is no text; nothing where there is no value.
void appendPlain(std::string& to, const TableField& field, const Row& row, std::size_t number) {
  switch (field.type) {
    case CellType::kNumber:
      return appendNumber(to, field.decimals, row.number(number));
    case CellType::kDate:
      return appendDate(to, row.number(number));
    case CellType::kLogical:
      to += row.logical(number) ? "true" : "false";
      return;
    default:
      return;
  }
}

void appendCsvText(std::string& to, std::string_view text, char separator) {
  if (!needsQuotes(text, separator)) return appendUtf8(to, text);
  to += '"';
  for (std::size_t quote; (quote = text.find('"')) != std::string_view::npos; text.remove_prefix(quote + 1)) {
    appendUtf8(to, text.substr(0, quote + 1));
    to += '"';
  }
  appendUtf8(to, text);
  to += '"';
}

/// A line without anything would be taken for no row at all.
void endCsvRow(std::string& to, std::size_t begin) {
  if (to.size() == begin) to += "\"\"";
  to += '\n';
}

void appendJsonPlain(std::string& to, const TableField& field, const Row& row, std::size_t number, bool masked) {
  const std::size_t begin = to.size();
  if (field.type == CellType::kDate) to += '"';
  appendPlain(to, field, row, number);
  if (field.type == CellType::kDate && to.size() > begin + 1) {
    to += '"';
    return;
  }
  if (field.type == CellType::kDate || to.size() == begin) {
    to.resize(begin);
    to += "null";
  }
  if (!masked || field.type != CellType::kNumber) return;
  const std::string shown = maskCards(std::string_view(to).substr(begin));
  if (shown == std::string_view(to).substr(begin)) return;
  to.resize(begin);
  appendJsonText(to, shown);
}

}  // namespace

void appendCsvHead(std::string& to, const TableReader& table, const RecordForm& form) {
  const std::size_t begin = to.size();
  for (const TableField& field : table.fields()) {
    if (to.size() > begin) to += form.separator;
    appendCsvText(to, field.name, form.separator);
  }
  if (form.deletedColumn) (to += form.separator) += kDeletedColumn;
  to += '\n';
}

void appendCsvRow(std::string& to, const TableReader& table, const Row& row, const RecordForm& form) {
  const std::size_t begin = to.size();
  const std::vector<TableField>& fields = table.fields();
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) to += form.separator;
    if (isText(fields[i].type))
      appendCsvText(to, textIn(fields[i], row, i), form.separator);
    else
      appendPlain(to, fields[i], row, i);
  }
  if (form.deletedColumn) (to += form.separator) += row.isDeleted() ? "true" : "false";
  endCsvRow(to, begin);
}

void appendJsonRecord(std::string& to, const TableReader& table, const Row& row, const RecordForm& form) {
  const std::vector<TableField>& fields = table.fields();
  to += '{';
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (i > 0) to += ',';
    appendJsonText(to, fields[i].name);
    to += ':';
    if (!isText(fields[i].type)) {
      appendJsonPlain(to, fields[i], row, i, form.masked);
    } else if (form.masked) {
      appendJsonText(to, maskCards(textIn(fields[i], row, i)));
    } else {
      appendJsonText(to, textIn(fields[i], row, i));
    }
  }
  if (form.deletedColumn) (((to += ",\"") += kDeletedColumn) += "\":") += row.isDeleted() ? "true" : "false";
  to += '}';
}

std::string valueText(const TableReader& table, const Row& row, std::size_t number) {
  const TableField& field = table.fields()[number];
  std::string text;
  if (isText(field.type))
    appendUtf8(text, textIn(field, row, number));
  else
    appendPlain(text, field, row, number);
  return text;
}

}  // namespace tool
