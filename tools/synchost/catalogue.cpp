#include "synchost/catalogue.h"

#include <functional>
#include <iterator>

namespace synchost {
namespace {

struct Definition {
  const char* name;
  const char* fields;
  const char* indexes;
};
constexpr Definition kDefinitions[kCatalogueTables] = {
    {"VRN_TBL", "TBL_NAME:C:30 TBL_TYPE:C:1 TBL_KEY:C:30", "VRN_NDX:TBL_NAME"},
    {"VRN_COLS", "TBL_NAME:C:30 COL_ORDER:N:4:0 COL_NAME:C:20 COL_TYPE:C:1 COL_LEN:N:5:0 COL_DEC:N:3:0",
     "VRN_COLSX:TBL_NAME"},
    {"VRN_IND", "TBL_NAME:C:30 IND_NAME:C:30 IND_ORDER:N:4:0 KEY_ORDER:N:4:0 COL_NAME:C:20", "VRN_INDX:TBL_NAME"},
};

/// Collects the records of one of the three.
class Collector {
 public:
  explicit Collector(const Table& table) : buffer_(table) { buffer_.clear(); }

  Collector& text(const std::string& value) {
    buffer_.setText(field_++, value);
    return *this;
  }
  Collector& number(std::size_t value) {
    buffer_.setNumber(field_++, static_cast<double>(value));
    return *this;
  }
  void end() {
    records.push_back({{}, 0, buffer_.kept({}).value().content});
    buffer_.clear();
    field_ = 0;
  }

  std::vector<SentContent> records;

 private:
  RecordBuffer buffer_;
  std::size_t field_ = 0;
};

void addNames(const Table& table, Collector& to) {
  to.text(table.name).text(std::string(1, table.type)).text(table.keyIndex).end();
}

void addFields(const Table& table, Collector& to) {
  for (std::size_t i = 0; i + 1 < table.fields.size(); ++i) {
    const ControlFieldTBL& field = table.fields[i];
    to.text(table.name).number(i + 1).text(field.FieldName).text(std::string(1, vorne::TypeLetter(field.FieldType)));
    to.number(static_cast<std::size_t>(field.FieldLen)).number(static_cast<std::size_t>(field.FieldDecLen)).end();
  }
}

void addIndexes(const Table& table, Collector& to) {
  for (std::size_t i = 0; i < table.indexes.size(); ++i)
    for (std::size_t key = 0; key < table.indexes[i].fields.size(); ++key)
      to.text(table.name)
          .text(table.indexes[i].name)
          .number(i + 1)
          .number(key + 1)
          .text(table.indexes[i].fields[key])
          .end();
}

}  // namespace

const std::array<Table, kCatalogueTables>& CatalogueTables() {
  static const std::array<Table, kCatalogueTables> kTables = [] {
    std::array<Table, kCatalogueTables> tables;
    for (std::size_t i = 0; i < kCatalogueTables; ++i) {
      const Definition& of = kDefinitions[i];
      tables[i] = MakeTable(of.name, of.fields, of.indexes, "");
      tables[i].type = 'T';
      tables[i].number = -1 - static_cast<std::int64_t>(i);
    }
    return tables;
  }();
  return kTables;
}

std::vector<SentContent> CatalogueRecords(std::size_t place, const std::vector<Table>& tables) {
  constexpr void (*kAdd[kCatalogueTables])(const Table&, Collector&) = {addNames, addFields, addIndexes};
  Collector to(CatalogueTables()[place]);
  for (const Table& table : tables) kAdd[place](table, to);
  // The catalogue's own indexes are told too: devices take an empty list of indexes for a catalogue that is not there.
  if (kAdd[place] == addIndexes)
    for (const Table& table : CatalogueTables()) addIndexes(table, to);
  return std::move(to.records);
}

}  // namespace synchost
