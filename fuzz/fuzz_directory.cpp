// A directory of databases whose files hold anything: used as programs use it, checked, repaired. Errors end the
// process by design; here they end the step. Whatever stood in the files, a check changes nothing; after a repair,
// which lost what the check had told, and something when a database went, the check finds nothing but what it says that
// a hand must do, a second repair has nothing to do, the store reads as many records as the check counted, every change
// does what it says and nothing else, and the check finds no damage to the files in what is left.
//
// An input is a byte of switches (bit 0: repair first; the others choose what is changed) and the files.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "directory_input.h"
#include "runtime/process.h"
#include "scratch_directory.h"
#include "storage/format/description.h"
#include "storage/repair/directory_check.h"
#include "storage/tables/areas.h"
#include "support/records.h"

namespace {

using namespace vorne;

struct Ended {};
pid_t self;

// A repair tries out in a child whether an interrupted change can be finished.
void endStep(int) {
  if (getpid() != self) _exit(1);
  throw Ended{};
}

/// False when the step ended by an error.
template <class Step>
bool done(Step step) {
  try {
    step();
    return true;
  } catch (const Ended&) {
    return false;
  }
}

void require(bool holds, int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "line %d does not hold\n", line);
  std::abort();
}

void requireSound(const DirectoryReport& report, int line = __builtin_LINE()) {
  for (const Problem& found : report.problems)
    std::fprintf(stderr, "%s, record %lld: %s\n", found.file.c_str(), static_cast<long long>(found.record),
                 found.problem.c_str());
  require(std::all_of(report.problems.begin(), report.problems.end(), [](const Problem& one) { return one.byHand; }),
          line);
}

std::set<std::string> files(const std::vector<Problem>& problems) {
  std::set<std::string> names;
  for (const Problem& found : problems) names.insert(found.file);
  return names;
}

// A table whose description waits for a hand is laid out otherwise than a program writes: what is added shows more of
// it, and of its memo texts.
DirectoryReport without(const std::set<std::string>& waiting, DirectoryReport report) {
  const auto waits = [&](const Problem& found) {
    const bool isMemo = found.file.ends_with(kMemoSuffix);
    return waiting.contains(isMemo ? found.file.substr(0, found.file.size() - 2) : found.file);
  };
  std::erase_if(report.problems, waits);
  return report;
}

// Records that were written as no program on tables does mean nothing there; the files hold together all the same.
void requireWhole(const DirectoryReport& report, int line = __builtin_LINE()) {
  for (const Problem& found : report.problems)
    for (const char* words : {"its header", "its place is", "places for", "bytes used", "has another entry"})
      require(found.problem.find(words) == std::string::npos, line);
}

bool holds(const DirectoryReport& report, const std::string& database) {
  return std::any_of(report.databases.begin(), report.databases.end(),
                     [&](const DatabaseReport& one) { return one.name == database; });
}

std::map<std::string, std::string> stored() {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator("DB"))
    if (entry.is_regular_file()) {
      std::ifstream file(entry.path(), std::ios::binary);
      files[entry.path()] = {std::istreambuf_iterator<char>(file), {}};
    }
  return files;
}

/// Changes one database. `sound`: its files have been repaired, so that everything must work.
class Change {
 public:
  Change(DmOpenRef db, UInt32 choice, bool sound) : db_(db), sound_(sound), model_(readAll()) {
    // Records of a database of another kind all have the length of the first one.
    const bool variable = db->Head.Type == kVariableDatabase;
    const std::size_t size = variable || model_.empty() ? choice * 7 + 1 : model_[0].size();
    insert(choice % (DmNumRecords(db) + 1), std::string(size, 'i'));
    write(choice % std::max(DmNumRecords(db), 1u), std::string(variable ? choice * 11 + 1 : size, 'w'));
    if (choice % 4 != 1 && DmNumRecords(db) > 1) remove(1, 1 + (choice % 4 == 2 ? choice % 6 : 0));
    setAppInfo(choice + 1);
    if (choice % 2 == 1) expect(InterNalPack(db) == errNone);
    if (sound) require(readAll() == model_);
  }

 private:
  void expect(bool holds, int line = __builtin_LINE()) const { require(holds || !sound_, line); }

  std::vector<std::string> readAll() const {
    std::vector<std::string> all;
    for (UInt32 i = 0; i < DmNumRecords(db_) && (sound_ || i < 3000); ++i) {
      UInt16 attributes = 0;
      const MemHandle handle = DmQueryRecord(db_, i);
      expect(handle != nullptr && DmRecordInfo(db_, i, &attributes) == errNone);
      if (handle != nullptr) all.emplace_back(static_cast<char*>(MemHandleLock(handle)), MemHandleSize(handle));
    }
    return all;
  }

  void insert(UInt32 index, const std::string& bytes) {
    expect(put(db_, bytes, index));
    if (sound_) model_.insert(model_.begin() + index, bytes);
  }
  void write(UInt32 index, const std::string& bytes) {
    expect(change(db_, index, bytes, false));
    if (sound_) model_[index] = bytes;
  }
  void remove(UInt32 first, UInt32 last) {
    expect((first == last ? DmRemoveRecord(db_, first) : ExcluirFaixa(db_, first, last)) == errNone);
    if (!sound_) return;
    const auto end = std::min<std::ptrdiff_t>(std::ssize(model_), last + 1);
    model_.erase(model_.begin() + first, model_.begin() + end);
  }
  void setAppInfo(UInt32 size) {
    const LocalID info = MemHandleToLocalID(DmNewHandle(db_, size));
    expect(setDatabase(db_->fName, {.info = &info}) == errNone);
  }

  DmOpenRef db_;
  bool sound_;
  std::vector<std::string> model_;
};

void use(const std::string& name, UInt32 choice) {
  if (choice % 16 == 3) RestoreCatalog();
  const LocalID id = DmFindDatabase(0, name.c_str());
  DmOpenRef db = id == 0 ? nullptr : DmOpenDatabase(0, id, 0);
  if (db == nullptr) return;
  UInt32 index;
  DmFindRecordByID(db, choice, &index);
  Change(db, choice, false);
  DmCloseDatabase(db);
}

// Opens it as a table, should it have a description, reads all of it, seeks, writes one record.
void useTable(const std::string& name, UInt32 choice) {
  constexpr int kMostSteps = 3000;
  const LocalID id = DmFindDatabase(0, name.c_str());
  UInt32 type = 0;
  if (id == 0 || DmDatabaseInfo(0, id, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                                &type, nullptr) != errNone)
    return;
  if (type != kTypeData) return;
  __DBUSEAREA(__INIT_BOOL(1), nullptr, __INIT_CHARPTR(name.c_str()));
  const int area = S_GLOB->TBL_this, fields = ToInt(__TBL_Fcount()->objData.mdbl);
  __GoTo(area, 0, 0, 1);
  for (int step = 0; step < kMostSteps && __TBL_Eof()->objData.mbool == 0; ++step) {
    for (int field = 1; field <= fields; ++field) __GetFieldByID(area, field);
    __TBL_Skip();
  }
  if (const int index = __GetFirstOpenIDX(area); index >= 0) {
    const double records = __TBL_RecCount()->objData.mdbl;
    require(AreaAt(area)->TBL_appinfo->TBL_IndexesNames[index]->IDX_dbRef->Head.NumberOfRecords == records);
    __TBL_SetOrder(nullptr, __INIT_DOUBLE(index + 1));
    __Seek(nullptr, __INIT_CHARPTR(choice % 2 == 0 ? "" : "B"), __INIT_BOOL(choice % 4 < 2));
    __TBL_Skip();
  }
  if (choice % 8 < 4) __DBAPPEND();
  for (int field = 1; field <= fields; ++field) {
    const char letter = __FieldType(nullptr, __INIT_DOUBLE(field))->objData.mbuff[0];
    if (letter == 'C' || letter == 'M') __SetField(nullptr, __INIT_DOUBLE(field), __INIT_CHARPTR("written"));
  }
  __DB_CloseArea();
}

// What an error leaves open is closed; what cannot be written is dropped then.
void useTables(const std::string& name, UInt32 choice) {
  if (done([&] { useTable(name, choice); })) return;
  for (int area = 0; area < S_GLOB->TBL_lasttable; ++area)
    if (VORNE_RDD* open = AreaAt(area)) open->TBL_fieldchanged = 0;
  done([] { __dbCloseAll(); });
}

void useSound(const DatabaseReport& database, UInt32 choice) {
  DmOpenRef db = DmOpenDatabase(0, DmFindDatabase(0, database.name.c_str()), 0);
  require(db != nullptr && DmNumRecords(db) == database.records);
  Change(db, choice, true);
  require(DmCloseDatabase(db) == errNone);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  self = getpid();
  enterScratchDirectory();
  endProcessHook = endStep;
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const UInt32 choice = data[0] / 2;
  __BeginGlobal();
  const auto names = directory_input::writeFiles({reinterpret_cast<const char*>(data) + 1, size - 1});
  CheckDirectory(".");
  ListDirectory(".");
  if (data[0] % 2 == 0) {
    for (const std::string& name : names) useTables(name, choice);
    for (const std::string& name : names) done([&] { use(name, choice); });
    require(done(CloseCatalog));
  }
  const auto before = stored();
  const DirectoryReport checked = CheckDirectory(".");
  require(stored() == before);
  DirectoryReport repaired;
  require(done([&] { repaired = RepairDirectory("."); }));
  const bool finished = std::any_of(repaired.problems.begin(), repaired.problems.end(), [](const Problem& found) {
    return found.problem.starts_with("a change was inter");
  });
  require(finished || (repaired.lostRecords == checked.lostRecords && repaired.lostValues == checked.lostValues &&
                       repaired.lostDatabases == checked.lostDatabases));
  require(!RepairDirectory(".").changed);
  DirectoryReport report = CheckDirectory(".");
  for (const DatabaseReport& database : checked.databases)
    require(finished || holds(report, database.name) || checked.lost() != 0);
  requireSound(report);
  const auto waiting = files(report.problems);
  for (const DatabaseReport& database : report.databases) useTables(database.name, choice);
  require(done(CloseCatalog));
  report = CheckDirectory(".");
  requireWhole(report);
  requireSound(without(waiting, report));
  require(done([&] {
    for (const DatabaseReport& database : report.databases) useSound(database, choice);
    CloseCatalog();
  }));
  requireWhole(CheckDirectory("."));
  __EndGlobal();
  return 0;
}
