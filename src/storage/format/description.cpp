// A block is a head of fixed size and, behind it, texts that end with a zero each: name, number of fields, number of
// indexes (of a table) or length of the key (of an index), then the fields. Numbers stand there as decimal texts.
#include "storage/format/description.h"

#include <strings.h>

#include <algorithm>
#include <charconv>
#include <cstring>

#include "runtime/cursor.h"
#include "storage/format/names.h"
#include "storage/format/record_bytes.h"

namespace vorne {

namespace {

// What every block begins with, at the widths of a 32-bit build. Places that held addresses are zero.
struct Head {
  double lastUpdate;
  char name[31];
  char padding;
  std::uint32_t database;
  std::uint32_t cardNumber;
  std::uint32_t type;
  std::uint32_t openMode;
  std::uint32_t fields;
  std::uint32_t indexes;
  std::uint32_t entriesWait;
  std::uint32_t address;
};
static_assert(sizeof(Head) == kDescriptionHead && offsetof(Head, name) == 8 && offsetof(Head, database) == 40 &&
              offsetof(Head, type) == 48 && offsetof(Head, fields) == 56 &&
              offsetof(Head, entriesWait) == kEntriesWaitAt);

constexpr std::size_t kSpareBytes = 4;  // behind the texts

// A decimal number within bounds; the first of them, and a failure, for anything else.
std::int32_t numberIn(ByteReader& texts, std::int32_t least, std::int32_t most) {
  const std::string_view text = texts.text();
  std::int32_t value = least;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error == std::errc() && end == text.data() + text.size() && value >= least && value <= most) return value;
  texts.fail();
  return least;
}

void addText(std::string& block, std::string_view text) {
  block.append(text);
  block += '\0';
}
void addNumber(std::string& block, std::int64_t number) {
  addText(block, std::to_string(number));
}

std::string headOf(const TableDescription& table) {
  Head head = {};
  head.lastUpdate = table.lastUpdate;
  table.name.copy(head.name, kLongestTableName);
  head.cardNumber = table.cardNumber;
  head.type = table.type;
  head.openMode = table.openMode;
  head.fields = static_cast<std::uint32_t>(table.fields.size());
  head.indexes = table.indexes;
  std::string block(sizeof head, '\0');
  Store(block.data(), head);
  return block;
}

std::string nameIn(const Head& head) {
  return {head.name, ::strnlen(head.name, sizeof head.name)};
}

struct TypeRow {
  char letter;
  FType type;
};
constexpr TypeRow kTypes[] = {{'N', TBLNUM},  {'D', TBLDATE},    {'C', TBLSTRING}, {'L', TBLBOOL},
                              {'M', TBLMEMO}, {'I', TBLINTEGER}, {'B', TBLBINARY}};

}  // namespace

std::optional<TableDescription> ParseTableBlock(std::span<const char> block) {
  if (block.size() < kDescriptionHead) return {};
  const auto head = Load<Head>(block.data());
  TableDescription table;
  table.lastUpdate = head.lastUpdate;
  table.cardNumber = head.cardNumber;
  table.type = head.type;
  table.openMode = head.openMode;
  ByteReader texts(block.subspan(kDescriptionHead));
  // Whatever stands here is held to what it may be, so that no size computed from it can wrap.
  // The head's copy of the name is not taken: damage in one of the two is found by a check that holds both.
  table.name = texts.text().substr(0, kLongestTableName);
  const std::int32_t count = numberIn(texts, 1, kMostFields);
  table.indexes = static_cast<std::uint32_t>(numberIn(texts, 0, INT32_MAX));
  for (std::int32_t i = 0; i < count && !texts.failed(); ++i) {
    const std::string_view name = texts.text();
    const auto type = static_cast<FType>(numberIn(texts, TBLNUM, TBLBINARY));
    const std::int32_t length = numberIn(texts, 0, kLongestField);
    table.fields.push_back(MakeField(name, type, length, numberIn(texts, 0, kLongestField)));
  }
  if (texts.failed()) return {};
  PlaceFields(table.fields);
  return table;
}

std::optional<IndexDescription> ParseIndexBlock(std::span<const char> block) {
  if (block.size() < kDescriptionHead) return {};
  const auto head = Load<Head>(block.data());
  IndexDescription index;
  index.table = nameIn(head);
  index.entriesWait = head.entriesWait == kEntriesWait;
  ByteReader texts(block.subspan(kDescriptionHead));
  index.name = texts.text().substr(0, kLongestTableName);
  const std::int32_t count = numberIn(texts, 1, kMostFields);
  index.keyLength = numberIn(texts, 1, kLongestField);
  for (std::int32_t i = 0; i < count && !texts.failed(); ++i)
    index.keyFields.push_back({static_cast<std::uint32_t>(numberIn(texts, 0, kMostFields))});
  if (texts.failed()) return {};
  return index;
}

std::optional<TableDescription> ReadDescription(std::span<const char> block) {
  std::optional<TableDescription> table = ParseTableBlock(block);
  if (!table) return {};
  const ControlFieldTBL& mark = table->fields.back();
  // Bytes that happen to parse are no description yet: it ends with the deletion mark's field, and nothing but zeros
  // follow.
  // How long the block of what was read would be: what follows is not part of it.
  const std::size_t told = TableBlock(*table).size() - kSpareBytes;
  const bool ends = std::string_view(mark.FieldName) == kDeletionField && mark.FieldType == TBLSTRING;
  const std::span<const char> behind = block.subspan(std::min(told, block.size()));
  if (!ends || !std::all_of(behind.begin(), behind.end(), [](char c) { return c == '\0'; })) return {};
  return table;
}

std::uint32_t ToldType(const FileHeader& header, std::string_view name, std::span<const char> block) {
  if (header.Type == kIndexDatabase) return ParseIndexBlock(block) ? kTypeIndex : 0;
  if (header.Type != kVariableDatabase) return 0;
  if (ReadDescription(block)) return kTypeData;
  // Memo databases say nothing of themselves; their name does.
  return block.empty() && FoldedName(name).ends_with(kMemoSuffix) ? kTypeMemo : 0;
}

std::string TableBlock(const TableDescription& table) {
  std::string block = headOf(table);
  addText(block, std::string_view(table.name).substr(0, kLongestTableName));
  addNumber(block, static_cast<std::int64_t>(table.fields.size()));
  addNumber(block, table.indexes);
  for (const ControlFieldTBL& field : table.fields) {
    addText(block, field.FieldName);
    addNumber(block, field.FieldType);
    addNumber(block, field.FieldLen);
    addNumber(block, field.FieldDecLen);
  }
  return block.append(kSpareBytes, '\0');
}

std::string IndexBlock(const TableDescription& table, const IndexDescription& index) {
  std::string block = headOf(table);
  addText(block, std::string_view(index.name).substr(0, kLongestTableName));
  addNumber(block, static_cast<std::int64_t>(index.keyFields.size()));
  addNumber(block, index.keyLength);
  for (const IDX_Indexes& key : index.keyFields) addNumber(block, key.KeyField);
  return block.append(kSpareBytes, '\0');
}

char TypeLetter(FType type) {
  const auto row = std::find_if(std::begin(kTypes), std::end(kTypes), [type](TypeRow r) { return r.type == type; });
  return row == std::end(kTypes) ? '?' : row->letter;
}

std::optional<FType> TypeOfLetter(char letter) {
  const auto row =
      std::find_if(std::begin(kTypes), std::end(kTypes), [letter](TypeRow r) { return r.letter == letter; });
  if (row == std::end(kTypes)) return {};
  return row->type;
}

ControlFieldTBL MakeField(std::string_view name, FType type, std::int32_t length, std::int32_t decimals) {
  ControlFieldTBL field = {};
  field.iFieldName = static_cast<std::int32_t>(name.copy(field.FieldName, kLongestFieldName));
  field.FieldType = type;
  field.FieldLen = length;
  field.FieldDecLen = decimals;
  return field;
}

std::int32_t PlaceFields(std::span<ControlFieldTBL> fields) {
  std::int32_t total = 0;
  for (ControlFieldTBL& field : fields) {
    field.iOffset = total;
    total += BufferRoom(field);
  }
  return total;
}

std::uint32_t FieldNumber(Fields fields, std::string_view name) {
  for (std::size_t i = 0; i < fields.size(); ++i)
    // Lengths first: a name that only begins like the field's is another one.
    if (static_cast<std::size_t>(fields[i].iFieldName) == name.size() &&
        strncasecmp(fields[i].FieldName, name.data(), name.size()) == 0)
      return static_cast<std::uint32_t>(i + 1);
  return 0;
}

}  // namespace vorne
