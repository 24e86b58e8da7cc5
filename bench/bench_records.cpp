// A million records of 100 bytes in our store, in SQLite and in LMDB: the same records, the same machine, in turns. No
// store waits for the disk (ours in a batch, SQLite without synchronisation, LMDB without it); "flushing" is ours
// asking the system to write each record soon, as programs do that are not loading many. Every store is opened anew
// before every step, and begins each repetition from another place in the row. Every byte that is read goes into a sum,
// which must be right. The table shows medians; milliseconds a million records are nanoseconds a record.
//
// What is wanted: appending 5 times as fast as SQLite and no slower than LMDB; reading in order 10 times as fast and no
// slower; reading by index 5 times as fast; opening in less than 1 ms beyond mapping the files; the check of the
// directory in less than 1 s; looking up in the same time however much is open.
//
// Run: bench_records [--dir DIR]   DIR: where the stores are made (default /var/tmp, on the machine's disk; /dev/shm is
// memory).
#include <benchmark/benchmark.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "storage/repair/directory_check.h"
#include "storage/vornerdd.h"
#include "stores.h"

namespace {

namespace fs = std::filesystem;

constexpr int kRepetitions = 9;

// ------------------------------------------------------------------------------------------------ the stores compared

struct Contender {
  const char* name;
  std::unique_ptr<Store> store;
  fs::path directory;
  std::uint32_t updates = 0;

  void enter() const { fs::current_path(directory); }
};
std::vector<Contender> contenders;
enum { kOurs, kFlushing, kSqlite, kLmdb, kContenders };

std::uint64_t ExpectedSum(std::uint32_t updates) {
  std::uint64_t sum = 0;
  for (std::uint32_t i = 0; i < kRecords; ++i) sum += SumOf(ContentOf(i, updates).data());
  return sum;
}

void WantSum(const Contender& contender, std::uint64_t sum) {
  static std::vector<std::uint64_t> expected;  // by updates
  while (expected.size() <= contender.updates)
    expected.push_back(ExpectedSum(static_cast<std::uint32_t>(expected.size())));
  Want(sum == expected[contender.updates], "the sum is not that of the records");
}

// A step returns the milliseconds of what is to be measured. The store is open before and after it, and no other one
// is: our catalogue is open once in a process.
struct Row {
  const char* name;
  double (*step)(Contender&);
  bool writes;
  std::vector<double> times[kContenders] = {};
};

double TimedAppend(Contender& contender) {
  contender.store->close();
  contender.store->empty();
  contender.updates = 0;
  contender.store->open();
  return Milliseconds([&] { contender.store->append(); });
}

template <std::uint64_t (Store::*read)()>
double TimedRead(Contender& contender) {
  std::uint64_t sum = 0;
  const double time = Milliseconds([&] { sum = (contender.store.get()->*read)(); });
  WantSum(contender, sum);
  return time;
}

template <std::uint64_t (Store::*read)()>
double TimedSecondRead(Contender& contender) {
  TimedRead<read>(contender);
  return TimedRead<read>(contender);
}

double TimedUpdate(Contender& contender) {
  ++contender.updates;
  const double time = Milliseconds([&] { contender.store->update(contender.updates); });
  TimedRead<&Store::readInOrder>(contender);
  return time;
}

double TimedOpen(Contender& contender) {
  contender.store->close();
  return Milliseconds([&] { contender.store->open(); });
}

double TimedClose(Contender& contender) {
  const double time = Milliseconds([&] { contender.store->close(); });
  contender.store->open();
  return time;
}

Row rows[] = {{"append", TimedAppend, true},
              {"read in order, first time", TimedRead<&Store::readInOrder>, false},
              {"read in order", TimedSecondRead<&Store::readInOrder>, false},
              {"read by index, first time", TimedRead<&Store::readShuffled>, false},
              {"read by index", TimedSecondRead<&Store::readShuffled>, false},
              {"update in place", TimedUpdate, true},
              {"open", TimedOpen, false},
              {"close", TimedClose, false}};

void InTurns(benchmark::State& state, Row& row) {
  std::size_t first = 0;
  for (auto _ : state) {
    double all = 0;
    for (std::size_t turn = 0; turn < kContenders; ++turn) {
      const std::size_t which = (first + turn) % kContenders;
      if (which == kFlushing && !row.writes) continue;
      Contender& contender = contenders[which];
      contender.enter();
      contender.store->open();
      row.times[which].push_back(row.step(contender));
      contender.store->close();
      state.counters[contender.name] = Median(row.times[which]);
      all += row.times[which].back();
    }
    ++first;
    state.SetIterationTime(all / 1000);
  }
}

void PrintRows() {
  std::printf("\n%-26s %9s %9s %9s %9s %14s %12s\n", "milliseconds", "ours", "flushing", "SQLite", "LMDB",
              "SQLite : ours", "LMDB : ours");
  for (const Row& row : rows) {
    if (row.times[kOurs].empty()) continue;
    std::printf("%-26s", row.name);
    for (const std::vector<double>& times : row.times)
      times.empty() ? std::printf(" %9s", "-") : std::printf(" %9.3f", Median(times));
    const double ours = Median(row.times[kOurs]);
    std::printf(" %14.2f %12.2f\n", Median(row.times[kSqlite]) / ours, Median(row.times[kLmdb]) / ours);
  }
}

// -------------------------------------------------------------------------------------------------------- ours alone

void CheckOfTheDirectory(benchmark::State& state) {
  contenders[kOurs].enter();
  for (auto _ : state) {
    const vorne::DirectoryReport report = vorne::CheckDirectory(".");
    Want(report.sound && report.databases.size() == 1 && report.databases[0].records == kRecords, "check");
  }
}

// What an open costs beyond mapping the same three files.
void OpenBeyondMapping(benchmark::State& state) {
  const Contender& ours = contenders[kOurs];
  ours.enter();
  std::vector<double> opening, mapping;
  for (auto _ : state) {
    opening.push_back(Milliseconds([&] { ours.store->open(); }));
    ours.store->close();
    const char* names[] = {vorne::kCatalogName, "Records", "Records_OS"};
    pmymap maps[std::size(names)];
    mapping.push_back(Milliseconds([&] { std::transform(std::begin(names), std::end(names), maps, mapeararquivo); }));
    std::for_each(std::begin(maps), std::end(maps), liberarmap);
  }
  state.counters["open_ms"] = Median(opening);
  state.counters["mapping_ms"] = Median(mapping);
}

// Resident memory of this process that is no file's, in KiB.
double PrivateKiB() {
  std::ifstream status("/proc/self/statm");
  long size = 0, resident = 0, shared = 0;
  status >> size >> resident >> shared;
  return static_cast<double>((resident - shared) * sysconf(_SC_PAGESIZE) / 1024);
}

void MemoryOfAScan(benchmark::State& state) {
  const Contender& ours = contenders[kOurs];
  ours.enter();
  for (auto _ : state) {
    const double before = PrivateKiB();
    ours.store->open();
    state.counters["open_KiB"] = PrivateKiB() - before;
    WantSum(ours, ours.store->readInOrder());
    state.counters["and_scan_KiB"] = PrivateKiB() - before;
    ours.store->close();
  }
}

// ------------------------------------------------------------------------------------------------ looking things up

template <class LookUp>
double NanosecondsEach(std::size_t count, LookUp lookUp) {
  return Milliseconds([&] {
           for (const std::uint32_t i : Shuffled()) Want(lookUp(i % count), "look up");
         }) *
         1e6 / kRecords;
}

// `state.range(0)` databases, all open, each with a locked handle.
void LookUps(benchmark::State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const fs::path directory = contenders[kOurs].directory.parent_path() / "lookups";
  fs::create_directory(directory);
  fs::current_path(directory);
  std::vector<std::string> names;
  std::vector<LocalID> ids;
  std::vector<MemHandle> handles;
  std::vector<void*> pointers;
  for (std::size_t i = 0; i < count; ++i) {
    names.push_back("Database" + std::to_string(i));
    Want(DmCreateDatabase(0, names[i].c_str(), 0, vorne::kTypeIndex, 0) == errNone, "create");
    ids.push_back(DmFindDatabase(0, names[i].c_str()));
    handles.push_back(DmNewHandle(DmOpenDatabase(0, ids[i], 0), 16));
    pointers.push_back(MemHandleLock(handles[i]));
  }
  for (auto _ : state) {
    state.counters["by_pointer_ns"] =
        NanosecondsEach(count, [&](std::size_t i) { return MemPtrRecoverHandle(pointers[i]) == handles[i]; });
    state.counters["by_name_ns"] =
        NanosecondsEach(count, [&](std::size_t i) { return DmFindDatabase(0, names[i].c_str()) == ids[i]; });
  }
  CloseCatalog();
  fs::remove_all(directory);
}

// ------------------------------------------------------------------------------------------------------------- main

void RegisterAll() {
  const auto add = [](const char* name, auto run) {
    return benchmark::RegisterBenchmark(name, run)->Unit(benchmark::kMillisecond);
  };
  for (Row& row : rows)
    add(row.name, [&row](benchmark::State& state) { InTurns(state, row); })->Iterations(kRepetitions)->UseManualTime();
  add("check", CheckOfTheDirectory)->Iterations(kRepetitions);
  add("open beyond mapping", OpenBeyondMapping)->Iterations(101);
  add("memory", MemoryOfAScan)->Iterations(1);
  add("look up among open databases", LookUps)->Arg(10)->Arg(1000)->Arg(5000)->Iterations(1);
}

// Five thousand open databases are as many open files.
void AllowManyFiles() {
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

void MakeStores(const fs::path& directory) {
  contenders.push_back({"ours", OurStore(false), {}});
  contenders.push_back({"flushing", OurStore(true), {}});
  contenders.push_back({"SQLite", SqliteStore(), {}});
  contenders.push_back({"LMDB", LmdbStore(), {}});
  for (Contender& contender : contenders) {
    contender.directory = directory / contender.name;
    fs::create_directory(contender.directory);
    contender.enter();
    contender.store->empty();
    contender.store->open();
    contender.store->append();
    contender.store->close();
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::string where = "/var/tmp";
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::string(argv[i]) != "--dir") continue;
    where = argv[i + 1];
    std::rotate(argv + i, argv + i + 2, argv + argc);
    argc -= 2;
  }
  benchmark::Initialize(&argc, argv);
  std::string directory = fs::absolute(where) / "tellira-bench-XXXXXX";
  Want(mkdtemp(directory.data()) != nullptr, directory.c_str());
  AllowManyFiles();
  Shuffled();
  __BeginGlobal();
  MakeStores(directory);
  RegisterAll();
  benchmark::RunSpecifiedBenchmarks();
  PrintRows();
  fs::remove_all(directory);
}
