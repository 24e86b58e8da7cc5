// Databases of every kind, brought to what they hold by every kind of change, with a clock that stands still: the same
// bytes on every machine.
//   sample_databases DIR    makes the databases in DIR and prints, as JSON, what the files must hold
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "runtime/local_clock.h"
#include "runtime/values.h"
#include "support/store.h"

std::tm vorne::LocalNow() {
  std::tm noon{};
  noon.tm_year = 126, noon.tm_mon = 10, noon.tm_mday = 21, noon.tm_wday = 6, noon.tm_hour = 12, noon.tm_sec = 59;
  return noon;
}

namespace {

using nlohmann::json;

enum class Do { Put, Change, Remove };
struct Step {
  Do what;
  UInt32 index;
  std::string bytes = {};
};

struct Sample {
  std::string name;
  UInt32 type;
  std::string appInfo;
  std::vector<Step> steps;
  std::string madeAs = name;
  UInt16 attributes = 0, version = 0;
  UInt32 backedUp = 0, modification = 0;
  bool opened = true, deleted = false;
};

struct Record {
  std::string bytes;
  std::size_t space;
  bool dirty;
};

std::string pattern(std::size_t size, char first) {
  std::string bytes(size, first);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(first + i % 251);
  return bytes;
}

std::vector<Step> manyRecords(UInt32 count) {
  std::vector<Step> steps;
  for (UInt32 i = 0; i < count; ++i)
    steps.push_back({Do::Put, kAppend, pattern(1 + i * 37 % 500, static_cast<char>(i))});
  return steps;
}

std::vector<Sample> samples() {
  return {
      {.name = "Sales",
       .type = vorne::kTypeData,
       .appInfo = pattern(77, 'A'),
       .steps = {{Do::Put, kAppend, "one"},
                 {Do::Put, kAppend, pattern(300, 1)},
                 {Do::Put, kAppend, pattern(65535, 2)},
                 {Do::Put, kAppend, "x"},
                 {Do::Put, 1, "between"},
                 {Do::Change, 0, "more than one"},
                 {Do::Change, 2, "fewer than 300"},
                 {Do::Remove, 3},
                 {Do::Put, kAppend, "last"}}},
      {.name = "Gone", .type = vorne::kTypeData, .appInfo = "", .steps = {{Do::Put, 0, "away"}}, .deleted = true},
      {.name = "Index",
       .type = vorne::kTypeIndex,
       .appInfo = "key",
       .steps = {{Do::Put, kAppend, pattern(12, 'a')},
                 {Do::Put, 0, pattern(12, 'b')},
                 {Do::Put, 1, pattern(12, 'c')},
                 {Do::Put, kAppend, pattern(12, 'd')},
                 {Do::Remove, 2},
                 {Do::Change, 1, "123456789012"}}},
      {.name = "Other",
       .type = vorne::FourChars("ABCD"),
       .appInfo = "",
       .steps = {{Do::Put, 0, pattern(40, 0)}, {Do::Put, 1, pattern(40, 'e')}, {Do::Change, 1, "shorter"}}},
      {.name = "Many", .type = vorne::kTypeMemo, .appInfo = "", .steps = manyRecords(300)},
      {.name = "NeverOpened", .type = vorne::kTypeMemo, .appInfo = "", .steps = {}, .opened = false},
      {.name = "NothingInIt", .type = vorne::kTypeData, .appInfo = "", .steps = {}},
      {.name = "Emptied", .type = vorne::kTypeData, .appInfo = "kept", .steps = {{Do::Put, 0, "out"}, {Do::Remove, 0}}},
      {.name = "a name of thirty-one characters",
       .type = vorne::kTypeData,
       .appInfo = "",
       .steps = {{Do::Put, 0, "moved"}},
       .madeAs = "Old",
       .attributes = 0x1234,
       .version = 7,
       .backedUp = 0x89ABCDEF,
       .modification = 3},
  };
}

std::vector<Record> modelOf(const Sample& sample) {
  std::vector<Record> all;
  for (const Step& step : sample.steps) {
    const auto place = all.begin() + std::min<std::size_t>(step.index, all.size());
    if (step.what == Do::Put)
      all.insert(place, {step.bytes, step.bytes.size(), false});
    else if (step.what == Do::Remove)
      all.erase(place);
    else
      *place = {step.bytes, std::max(step.bytes.size(), place->space), true};
  }
  return all;
}

[[noreturn]] void fail(const std::string& name, const std::string& what) {
  std::fprintf(stderr, "%s: %s\n", name.c_str(), what.c_str());
  std::exit(1);
}

void take(DmOpenRef db, const Step& step) {
  const bool taken = step.what == Do::Put      ? put(db, step.bytes, step.index)
                     : step.what == Do::Change ? change(db, step.index, step.bytes)
                                               : DmRemoveRecord(db, step.index) == errNone;
  if (!taken) fail(db->fName, "a step was refused");
}

void make(const Sample& sample) {
  const char* name = sample.madeAs.c_str();
  if (!sample.opened) {
    DmCreateDatabase(0, name, kCreator, sample.type, 0);
    return;
  }
  DmOpenRef db = openStore(name, sample.type);
  if (const auto size = static_cast<UInt32>(sample.appInfo.size()))
    DmWrite(MemHandleLock(DmNewHandle(db, size)), 0, sample.appInfo.data(), size);
  for (const Step& step : sample.steps) take(db, step);
  DmSetDatabaseInfo(0, DmFindDatabase(0, name), sample.name.c_str(), &sample.attributes, &sample.version, nullptr,
                    nullptr, &sample.backedUp, &sample.modification, nullptr, nullptr, nullptr, nullptr);
  DmCloseDatabase(db);
}

std::string hex(const std::string& bytes) {
  std::string digits;
  for (const unsigned char byte : bytes) digits += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
  return digits;
}

// null for an entry that is free again.
json describe(const Sample& sample) {
  if (sample.deleted) return nullptr;
  json records = json::array();
  for (const Record& record : modelOf(sample))
    records.push_back({{"data", hex(record.bytes)}, {"space", record.space}, {"dirty", record.dirty}});
  return {{"name", sample.name},
          {"type", sample.type},
          {"creator", kCreator},
          {"kind", vorne::KindOfType(sample.type)},
          {"attributes", sample.attributes},
          {"version", sample.version},
          {"backedUp", sample.backedUp},
          {"modification", sample.modification},
          {"opened", sample.opened},
          {"appInfo", hex(sample.appInfo)},
          {"records", records}};
}

// One table. In a row, "behind" is the number of bytes between the fields and the end mark; the row that is "growing"
// was made longer by a process that died before it wrote it. A number that is too long for its field is cut in a key.
const json kTables = json::parse(R"([
  {"name": "CLIENTES", "type": 1145132097, "kind": 86, "shape": "table",
   "fields": [["NAME", 2, 18, 0], ["PRICE", 0, 8, 2], ["BORN", 1, 8, 0], ["VIP", 3, 1, 0], ["NOTE", 4, 4, 0],
              ["D_E_L_E_T_", 2, 2, 0]],
   "rows": [
     {"values": ["José Melo", 12.5, 29280, true, 2], "behind": 0, "deleted": false, "growing": false},
     {"values": ["Ana", -3, 0, false, 0], "behind": 15, "deleted": false, "growing": false},
     {"values": ["Rui", 0, 1, false, 0], "behind": 5, "deleted": true, "growing": true},
     {"values": ["Bia", 0.25, 36526.5, true, 3], "behind": 0, "deleted": true, "growing": false},
     {"values": ["", 1234567.89, 38053, false, 0], "behind": 0, "deleted": false, "growing": false}]},
  {"name": "CLIENTES_M", "type": 1296387407, "kind": 86, "shape": "memo",
   "texts": ["José's first note", "takes no aspirin", "moved away"]},
  {"name": "BYNAME", "type": 1229866072, "kind": 66, "shape": "index", "keyFields": [1], "keyLength": 18,
   "entries": [[4, "                  "], [1, "Ana               "], [3, "Bia               "],
               [0, "José Melo         "], [2, "Rui               "]]},
  {"name": "BYDAY", "type": 1229866072, "kind": 66, "shape": "index", "keyFields": [3, 2, 4], "keyLength": 17,
   "entries": [[1, "00000000", "   -3.00", "\u0000"], [2, "18991231", "    0.00", "\u0000"],
               [0, "19800229", "   12.50", "\u0001"], [3, "20000101", "    0.25", "\u0001"],
               [4, "20040307", "1234567.", "\u0000"]]}
])");

// Of a JSON text; letters outside of ASCII are those that UTF-8 writes behind a byte of 0xC3.
Obj_Node* latin1(const std::string& utf8) {
  std::string latin1;
  for (const char c : utf8)
    if (!latin1.empty() && latin1.back() == '\xC3')
      latin1.back() = static_cast<char>(c | 0x40);
    else
      latin1 += c;
  return text(latin1);
}

void set(const char* field, Obj_Node* value) {
  __SetField(nullptr, text(field), value);
  __Commit();
}

void grow(UInt32 position, UInt32 bytes) {
  DmOpenRef table = openStore("CLIENTES");
  const MemHandle handle = DmGetRecord(table, position);
  MemHandleResize(handle, MemHandleSize(handle) + bytes);
  DmReleaseRecord(table, position, 0);
}

void appendRow(const json& row, UInt32 position) {
  const json &values = row["values"], &notes = kTables[1]["texts"];
  __DBAPPEND();
  if (row["behind"] != 0 && !row["growing"]) set("NAME", text(std::string(18, '.')));
  set("NAME", latin1(values[0]));
  set("PRICE", number(values[1]));
  set("BORN", __INIT_DATE(values[2].get<double>()));
  set("VIP", __INIT_BOOL(values[3].get<bool>()));
  if (position == 0) set("NOTE", latin1(notes[0]));
  if (const unsigned note = values[4]; note != 0) set("NOTE", latin1(notes[note - 1]));
  if (row["deleted"]) __TBL_Delete();
  __Commit();
  if (row["growing"]) grow(position, row["behind"]);
}

// A copy of one index stays beside them from when entries waited.
void writeTable() {
  __DBCREATE(text("Clientes"),
             value("{{'NAME','C',18,0},{'PRICE','N',8,2},{'BORN','D',8,0},{'VIP','L',1,0},{'NOTE','M',4,0}}"));
  __DBUSEAREA(__INIT_BOOL(1), nullptr, text("CLIENTES"));
  __DBCREATEINDEX(text("BYNAME"), text("Name"));
  __DBCREATEINDEX(text("BYDAY"), text("DTOS(BORN) + STR(PRICE) + VIP"));
  UInt32 position = 0;
  for (const json& row : kTables[0]["rows"]) appendRow(row, position++);
  std::filesystem::copy_file("DB/BYDAY", "waiting_index");
  __dbCloseAll();
}

void write() {
  json entries = json::array();
  for (const Sample& sample : samples()) {
    make(sample);
    entries.push_back(describe(sample));
  }
  writeTable();
  entries.insert(entries.end(), kTables.begin(), kTables.end());
  for (const Sample& sample : samples())
    if (sample.deleted) DmDeleteDatabase(0, DmFindDatabase(0, sample.name.c_str()));
  std::puts(entries.dump().c_str());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || chdir(argv[1]) != 0) fail("usage", "sample_databases DIR");
  __BeginGlobal();
  write();
  CloseCatalog();
  __EndGlobal();
}
