// Databases of every kind, brought to what they hold by every kind of change, with a clock that stands still: the same
// bytes on every machine.
//   sample_databases DIR    makes the databases in DIR
#include <cstdio>
#include <ctime>

#include "runtime/local_clock.h"
#include "support/tables.h"

std::tm vorne::LocalNow() {
  std::tm noon{};
  noon.tm_year = 126, noon.tm_mon = 10, noon.tm_mday = 21, noon.tm_wday = 6, noon.tm_hour = 12, noon.tm_sec = 59;
  return noon;
}

namespace {

struct Sample {
  std::string name;
  UInt32 type;
  std::string appInfo;
  bool (*fill)(DmOpenRef db);  // null: never opened
  std::string madeAs = name;
  UInt16 attributes = 0, version = 0;
  UInt32 backedUp = 0, modification = 0;
  bool deleted = false;
};

std::string pattern(std::size_t size, char first) {
  std::string bytes(size, first);
  for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(first + i % 251);
  return bytes;
}

bool putMany(DmOpenRef db) {
  for (UInt32 i = 0; i < 300; ++i)
    if (!put(db, pattern(1 + i * 37 % 500, static_cast<char>(i)))) return false;
  return true;
}
bool remove(DmOpenRef db, UInt32 index) {
  return DmRemoveRecord(db, index) == errNone;
}

std::vector<Sample> samples() {
  return {
      {"Sales", vorne::kTypeData, pattern(77, 'A'),
       [](DmOpenRef db) {
         return put(db, "one") && put(db, pattern(300, 1)) && put(db, pattern(65535, 2)) && put(db, "x") &&
                put(db, "between", 1) && change(db, 0, "more than one") && change(db, 2, "fewer than 300") &&
                remove(db, 3) && put(db, "last");
       }},
      {"Gone", vorne::kTypeData, "", [](DmOpenRef db) { return put(db, "away"); }, "Gone", 0, 0, 0, 0, true},
      {"Index", vorne::kTypeIndex, "key",
       [](DmOpenRef db) {
         return put(db, pattern(12, 'a')) && put(db, pattern(12, 'b'), 0) && put(db, pattern(12, 'c'), 1) &&
                put(db, pattern(12, 'd')) && remove(db, 2) && change(db, 1, "123456789012");
       }},
      {"Other", vorne::FourChars("ABCD"), "",
       [](DmOpenRef db) { return put(db, pattern(40, 0)) && put(db, pattern(40, 'e')) && change(db, 1, "shorter"); }},
      {"Many", vorne::kTypeMemo, "", putMany},
      {"NeverOpened", vorne::kTypeMemo, "", nullptr},
      {"NothingInIt", vorne::kTypeData, "", [](DmOpenRef) { return true; }},
      {"Emptied", vorne::kTypeData, "kept", [](DmOpenRef db) { return put(db, "out") && remove(db, 0); }},
      {"a name of thirty-one characters", vorne::kTypeData, "", [](DmOpenRef db) { return put(db, "moved"); }, "Old",
       0x1234, 7, 0x89ABCDEF, 3},
  };
}

[[noreturn]] void fail(const std::string& what) {
  std::fprintf(stderr, "%s\n", what.c_str());
  std::exit(1);
}

void make(const Sample& sample) {
  const char* name = sample.madeAs.c_str();
  if (sample.fill == nullptr) {
    DmCreateDatabase(0, name, kCreator, sample.type, 0);
    return;
  }
  DmOpenRef db = openStore(name, sample.type);
  if (const auto size = static_cast<UInt32>(sample.appInfo.size()))
    DmWrite(MemHandleLock(DmNewHandle(db, size)), 0, sample.appInfo.data(), size);
  if (!sample.fill(db)) fail(sample.name + ": a step was refused");
  DmSetDatabaseInfo(0, DmFindDatabase(0, name), sample.name.c_str(), &sample.attributes, &sample.version, nullptr,
                    nullptr, &sample.backedUp, &sample.modification, nullptr, nullptr, nullptr, nullptr);
  DmCloseDatabase(db);
}

struct Row {
  const char* name;
  double price, born;
  bool vip;
  const char* note;
  std::size_t behind;     // bytes between the fields and the end mark
  bool deleted, growing;  // growing: made longer by a process that died before it wrote
};
// The first note is changed later; a number that is too long for its field is cut in a key.
const Row kRows[] = {{"Jos\xE9 Melo", 12.5, 29280, true, "takes no aspirin", 0, false, false},
                     {"Ana", -3, 0, false, "", 15, false, false},
                     {"Rui", 0, 1, false, "", 5, true, true},
                     {"Bia", 0.25, 36526.5, true, "moved away", 0, true, false},
                     {"", 1234567.89, 38053, false, "", 0, false, false}};

void store(const char* field, Obj_Node* value) {
  __SetField(nullptr, text(field), value);
  __Commit();
}

void grow(UInt32 position, UInt32 bytes) {
  DmOpenRef table = openStore("CLIENTES");
  const MemHandle handle = DmGetRecord(table, position);
  MemHandleResize(handle, MemHandleSize(handle) + bytes);
  DmReleaseRecord(table, position, 0);
}

void appendRow(const Row& row, UInt32 position) {
  __DBAPPEND();
  if (row.behind != 0 && !row.growing) store("NAME", text(std::string(18, '.')));
  store("NAME", text(row.name));
  store("PRICE", number(row.price));
  store("BORN", __INIT_DATE(row.born));
  store("VIP", __INIT_BOOL(row.vip));
  if (position == 0) store("NOTE", text("Jos\xE9's first note"));
  if (*row.note != '\0') store("NOTE", text(row.note));
  if (row.deleted) __TBL_Delete();
  __Commit();
  if (row.growing) grow(position, row.behind);
}

// A copy of one index stays beside them from when entries waited.
void writeTable() {
  ::make("Clientes", "{{'NAME','C',18,0},{'PRICE','N',8,2},{'BORN','D',8,0},{'VIP','L',1,0},{'NOTE','M',4,0}}");
  makeIndex("BYNAME", "Name");
  makeIndex("BYDAY", "DTOS(BORN) + STR(PRICE) + VIP");
  UInt32 position = 0;
  for (const Row& row : kRows) appendRow(row, position++);
  std::filesystem::copy_file("DB/BYDAY", "waiting_index");
  __dbCloseAll();
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2 || chdir(argv[1]) != 0) fail("usage: sample_databases DIR");
  __BeginGlobal();
  const std::vector<Sample> all = samples();
  for (const Sample& sample : all) make(sample);
  writeTable();
  for (const Sample& sample : all)
    if (sample.deleted) DmDeleteDatabase(0, DmFindDatabase(0, sample.name.c_str()));
  CloseCatalog();
  __EndGlobal();
}
