#include "synchost/table.h"

#include <algorithm>
#include <cstring>

#include "db/field_definitions.h"
#include "storage/format/keys.h"
#include "storage/format/record_bytes.h"
#include "synchost/packing.h"
#include "text/text.h"

namespace synchost {
namespace {

std::vector<std::string> wordsIn(const std::string& text) {
  std::vector<std::string> words = tool::split(text, ' ');
  std::erase(words, "");
  return words;
}

TableIndex indexFrom(const std::string& text, const std::vector<ControlFieldTBL>& fields) {
  const std::size_t colon = std::min(text.find(':'), text.size());
  TableIndex index = {tool::upperCase(text.substr(0, colon)), {}};
  if (colon == text.size() || index.name.empty() || index.name.size() > vorne::kLongestTableName)
    tool::refuse("\"" + text + "\" is no index", "write NAME:FIELD,FIELD, as in BYCODE:CODE");
  std::vector<IDX_Indexes> key;
  for (const std::string& name : tool::split(text.substr(colon + 1), ',')) {
    const std::uint32_t number = vorne::FieldNumber(fields, name);
    if (number == 0 || vorne::KeyRoom(fields[number - 1]) == 0)
      tool::refuse("\"" + name + "\" in \"" + text + "\" is no field that can be a key", "name fields of the table");
    index.fields.push_back(tool::upperCase(name));
    key.push_back({number});
  }
  if (vorne::KeyRoom(fields, key) == 0 || key.size() > vorne::kMostFields)
    tool::refuse("\"" + text + "\" makes a key that is too long", "take fewer or shorter fields");
  return index;
}

std::vector<IDX_Indexes> keyFieldsOf(const Table& table) {
  if (table.indexes.empty() && table.keyIndex.empty()) return {};
  const auto isKey = [&](const TableIndex& index) { return index.name == table.keyIndex; };
  const auto named = std::find_if(table.indexes.begin(), table.indexes.end(), isKey);
  if (named == table.indexes.end() && !table.keyIndex.empty())
    tool::refuse("the table " + table.name + " has no index " + table.keyIndex, "name one of its own as its key");
  const TableIndex& key = named == table.indexes.end() ? table.indexes.front() : *named;
  std::vector<IDX_Indexes> numbers;
  for (const std::string& name : key.fields) numbers.push_back({vorne::FieldNumber(table.fields, name)});
  return numbers;
}

}  // namespace

Table MakeTable(const std::string& name, const std::string& fieldTexts, const std::string& indexTexts,
                const std::string& keyIndex) {
  Table table;
  table.fields = tool::parsedFields(wordsIn(fieldTexts));
  table.name = tool::checkedTableName(name, table.fields);
  table.fieldTexts = fieldTexts;
  table.indexTexts = indexTexts;
  table.keyIndex = tool::upperCase(keyIndex);
  table.memoFields =
      static_cast<std::size_t>(std::count_if(table.fields.begin(), table.fields.end(),
                                             [](const ControlFieldTBL& field) { return field.FieldType == TBLMEMO; }));
  for (const std::string& text : wordsIn(indexTexts)) table.indexes.push_back(indexFrom(text, table.fields));
  table.fields.push_back(vorne::MakeField(kDeletionField, TBLSTRING, 1, 0));
  vorne::PlaceFields(table.fields);
  table.keyFields = keyFieldsOf(table);
  return table;
}

bool Table::hasFields(const std::string& texts) const {
  const std::vector<ControlFieldTBL> others = tool::parsedFields(wordsIn(texts));
  return std::equal(others.begin(), others.end(), fields.begin(), fields.end() - 1, [](const auto& a, const auto& b) {
    return std::strcmp(a.FieldName, b.FieldName) == 0 && a.FieldType == b.FieldType &&
           (a.FieldType != TBLSTRING || a.FieldLen == b.FieldLen);
  });
}

RecordBuffer::RecordBuffer(const Table& table) : table_(table) {
  const ControlFieldTBL& last = table.fields.back();
  bytes_.resize(static_cast<std::size_t>(last.iOffset + vorne::BufferRoom(last)));
}

void RecordBuffer::clear() {
  vorne::BlankFields(table_.fields, bytes_.data());
}

bool RecordBuffer::load(vorne::Bytes record) {
  if (!vorne::IsRecordOf(table_.fields, record, memosAt_)) return false;
  // Bytes of another table's last number may pass for what a table keeps behind its fields. On the line nothing is.
  if (vorne::BytesBehindFields(table_.fields, record) != 0) return false;
  vorne::LoadFields(table_.fields, record, bswapnum != 0, bytes_.data());
  // A memo's place in the device's own files means nothing elsewhere.
  for (const ControlFieldTBL& field : table_.fields)
    if (field.FieldType == TBLMEMO) vorne::Store(&bytes_[static_cast<std::size_t>(field.iOffset)], std::uint32_t{0});
  return true;
}

void RecordBuffer::setText(std::size_t field, std::string_view latin1) {
  const ControlFieldTBL& place = table_.fields[field];
  latin1.copy(&bytes_[static_cast<std::size_t>(place.iOffset)], static_cast<std::size_t>(place.FieldLen));
}

void RecordBuffer::setNumber(std::size_t field, double number) {
  vorne::Store(&bytes_[static_cast<std::size_t>(table_.fields[field].iOffset)], number);
}

std::optional<KeptRecord> RecordBuffer::kept(const std::vector<vorne::Bytes>& memos) {
  KeptRecord row = {{}, {}, vorne::IsMarkedDeleted(table_.fields, bytes_.data())};
  record_.resize(vorne::StoredSize(table_.fields, bytes_.data()));
  vorne::StoreFields(table_.fields, bytes_.data(), bswapnum != 0, record_.data(), record_.size());
  if (!vorne::AppendToContent({record_, memos}, row.content) || row.content.size() > kLargestContent) return {};
  if (!table_.hasKey()) return row;
  row.key.resize(static_cast<std::size_t>(vorne::KeyRoom(table_.fields, table_.keyFields)));
  vorne::MakeKey(table_.fields, table_.keyFields, bytes_.data(), false, row.key.data());
  return row;
}

vorne::SentRecord RecordIn(const Table& table, vorne::Bytes content) {
  auto records = vorne::ParseContent(content, 1, table.memoFields);
  return records ? std::move(records->front()) : vorne::SentRecord{};
}

}  // namespace synchost
