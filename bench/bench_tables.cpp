// The same rows in our table, in SQLite and in LMDB, each with an index on the code and one on the name, in turns: see
// bench_records for how the stores are set up. Ours works row by row through the calls that scripts make, each of which
// keeps its promise; the two others get one transaction for a whole step, which is kind to them.
//
// What is wanted: loading and seeking 3 times as fast as SQLite, seeking within twice LMDB's time, a scan in order of
// the index 5 times as fast, appends and updates of a keyed field no slower, updates of another field 3 times as fast;
// an import no slower than sqlite3's.
//
// Run: bench_tables [--dir DIR] [--rows N] [--rounds N]
//                   (defaults /var/tmp, 1000000 and 3), then a table of costs against rows, and one of arrays.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <numeric>
#include <random>

#include "storage/vornerdd.h"
#include "table_stores.h"

namespace {

namespace fs = std::filesystem;

struct Options {
  std::string directory = "/var/tmp";
  std::uint32_t rows = 1'000'000;
  int rounds = 3;
};

std::vector<std::uint32_t> Shuffled(std::uint32_t count, std::uint32_t of) {
  std::vector<std::uint32_t> all(of);
  std::iota(all.begin(), all.end(), 0u);
  std::shuffle(all.begin(), all.end(), std::mt19937{});
  all.resize(std::min(count, of));
  return all;
}

std::vector<std::string> Codes(const std::vector<std::uint32_t>& rows) {
  std::vector<std::string> codes;
  for (const std::uint32_t row : rows) codes.emplace_back(RowOf(row).code);
  return codes;
}

double SumOfPrices(const std::vector<std::uint32_t>& rows) {
  double sum = 0;
  for (const std::uint32_t row : rows) sum += RowOf(row).price;
  return sum;
}

void WantSum(double sum, double expected) {
  Want(std::abs(sum - expected) < 1e-6 * expected + 1, "the sum is not that of the rows");
}

enum { kOurs, kSqlite, kLmdb, kStores };
constexpr const char* kNames[] = {"ours", "SQLite", "LMDB"};
constexpr std::unique_ptr<TableStore> (*kMakers[])() = {OurTable, SqliteTable, LmdbTable};

struct Step {
  std::string name;
  std::vector<double> times[kStores] = {};
};
enum { kLoadAndIndex, kLoad, kSeek, kScan, kAppend, kPrices, kCodes, kSteps };

void Measure(std::vector<Step>& steps, int which, const Options& options) {
  const std::uint32_t n = options.rows;
  const auto sought = Shuffled(n, n);
  const auto codes = Codes(sought);
  const auto appended = Shuffled(n / 10, n / 10);
  const auto store = kMakers[which]();
  const auto time = [&](int step, auto work) {
    steps[static_cast<std::size_t>(step)].times[which].push_back(Milliseconds(work));
  };
  double sum = 0;
  time(kLoadAndIndex, [&] { store->load(n, false); });
  store->close();
  time(kLoad, [&] { store->load(n, true); });
  time(kSeek, [&] { sum = store->seek(codes); });
  WantSum(sum, SumOfPrices(sought));
  time(kScan, [&] { sum = store->scan(); });
  WantSum(sum, SumOfPrices(sought));
  time(kAppend, [&] { store->append(n, appended); });
  time(kPrices, [&] { store->setPrices(Shuffled(n / 10, n)); });
  time(kCodes, [&] { store->setCodes(Shuffled(n / 100, n)); });
  // The work was done: every row that was appended is found, every changed one under its new code.
  std::vector<std::string> news;
  for (const std::uint32_t row : Shuffled(n / 100, n)) news.emplace_back(MakeRow(row, 1).code);
  store->seek(news);
  for (std::string& code : news) code = RowOf(n + appended[static_cast<std::size_t>(&code - news.data())]).code;
  store->seek(news);
  store->close();
}

void Compare(const Options& options) {
  const auto count = [&](std::uint32_t n, const char* what) { return std::to_string(n) + what; };
  std::vector<Step> steps{{count(options.rows, " rows loaded, then indexed")},
                          {count(options.rows, " rows loaded, with indexes")},
                          {count(options.rows, " random seeks")},
                          {"scan in the index's order"},
                          {count(options.rows / 10, " single appends")},
                          {count(options.rows / 10, " updates, no key")},
                          {count(options.rows / 100, " updates of a key")}};
  for (int round = 0; round < options.rounds; ++round)
    for (int turn = 0; turn < kStores; ++turn) Measure(steps, (round + turn) % kStores, options);
  std::printf("%-34s %9s %9s %9s %14s %12s\n", "milliseconds", kNames[kOurs], kNames[kSqlite], kNames[kLmdb],
              "SQLite : ours", "LMDB : ours");
  for (const Step& step : steps) {
    std::printf("%-34s", step.name.c_str());
    for (const auto& times : step.times) std::printf(" %9.1f", Median(times));
    const double ours = Median(step.times[kOurs]);
    std::printf(" %14.2f %12.2f\n", Median(step.times[kSqlite]) / ours, Median(step.times[kLmdb]) / ours);
  }
}

// The tool against sqlite3's own, each a process of its own that begins with an empty table.
void CompareImport(const Options& options) {
  fs::create_directories("import/DB");
  fs::current_path("import");
  std::FILE* csv = std::fopen("rows.csv", "w");
  Want(csv != nullptr, "rows.csv");
  std::fputs("CODE,NAME,PRICE,DAY,FLAG\n", csv);
  for (std::uint32_t i = 0; i < options.rows; ++i) {
    const TableRow& row = RowOf(i);
    std::fprintf(csv, "%s,%s,%.2f,%04d-%02d-%02d,%s\n", row.code, row.name, row.price, 1980 + row.day % 40,
                 1 + row.day % 12, 1 + row.day % 28, row.flag ? "true" : "false");
  }
  Want(std::fclose(csv) == 0, "rows.csv");
  const auto run = [](const std::string& command) { Want(std::system(command.c_str()) == 0, command.c_str()); };
  const std::string tool = std::string(TOOL) + " db ", sqlite = "sqlite3 rows.db ";
  std::printf("\n%-34s %9s %9s %14s\n", "milliseconds", kNames[kOurs], kNames[kSqlite], "SQLite : ours");
  for (const bool indexed : {false, true}) {
    std::vector<double> times[2];
    for (int round = 0; round < options.rounds; ++round) {
      run(tool + "create ROWS CODE:C:12 NAME:C:30 PRICE:N:12:2 DAY:D FLAG:L 2>/dev/null");
      fs::remove("rows.db");
      run(sqlite +
          "'PRAGMA journal_mode = WAL' 'CREATE TABLE t (code TEXT, name TEXT, price REAL, day TEXT, flag TEXT)' "
          ">/dev/null");
      if (indexed) {
        run(tool + "index create ROWS CODES CODE 2>/dev/null");
        run(tool + "index create ROWS NAMES NAME 2>/dev/null");
        run(sqlite + "'CREATE INDEX codes ON t (code)' 'CREATE INDEX names ON t (name)'");
      }
      times[0].push_back(Milliseconds([&] { run(tool + "import ROWS rows.csv 2>/dev/null"); }));
      times[1].push_back(
          Milliseconds([&] { run(sqlite + "'PRAGMA synchronous = OFF' '.mode csv' '.import --skip 1 rows.csv t'"); }));
      run(tool + "drop ROWS --yes 2>/dev/null");
    }
    std::printf("%-34s %9.0f %9.0f %14.2f\n", indexed ? "import from CSV, two indexes" : "import from CSV",
                Median(times[0]), Median(times[1]), Median(times[1]) / Median(times[0]));
  }
  fs::current_path("..");
}

void CostAgainstRows(std::uint32_t largest) {
  std::printf("\n%10s %16s %22s %14s\n", "rows", "seek, ns", "seek, ns / log2(rows)", "scan, ns a row");
  for (const std::uint32_t n : {largest / 100, largest / 10, largest, 2 * largest}) {
    const auto store = OurTable();
    store->load(n, true);
    const auto codes = Codes(Shuffled(std::min(n, largest / 5), n));
    const double seek = Milliseconds([&] { store->seek(codes); }) * 1e6 / static_cast<double>(codes.size());
    const double scan = Milliseconds([&] { store->scan(); }) * 1e6 / n;
    std::printf("%10u %16.0f %22.1f %14.1f\n", n, seek, seek / std::log2(n), scan);
    store->close();
  }
}

void CostOfArrays() {
  std::printf("\n%10s %20s %20s %20s\n", "elements", "read by number, ms", "one scan, ms", "sort, ms");
  for (const int n : {3000, 30000}) {
    Obj_Node* array = __Array(__INIT_DOUBLE(n), nullptr);
    const auto order = Shuffled(static_cast<std::uint32_t>(n), static_cast<std::uint32_t>(n));
    for (int i = 0; i < n; ++i) __SET_ARRAY_EL(array, __INIT_DOUBLE(order[static_cast<std::size_t>(i)]), i);
    const double read = Milliseconds([&] {
      for (const std::uint32_t i : order)
        Want(__ARRAY_EL(array, __INIT_DOUBLE(i + 1.0), nullptr)->objVarType == varNumber, "array");
    });
    const double scan = Milliseconds([&] { __AScan(array, __INIT_DOUBLE(order.back())); });
    const double sort = Milliseconds([&] { __ASORT(array); });
    std::printf("%10d %20.2f %20.3f %20.2f\n", n, read, scan, sort);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  for (int i = 1; i + 1 < argc; i += 2) {
    const std::string name = argv[i];
    if (name == "--dir") options.directory = argv[i + 1];
    if (name == "--rows") options.rows = static_cast<std::uint32_t>(std::max(1000, std::atoi(argv[i + 1])));
    if (name == "--rounds") options.rounds = std::max(1, std::atoi(argv[i + 1]));
  }
  std::string directory = fs::absolute(options.directory) / "tellira-bench-XXXXXX";
  Want(mkdtemp(directory.data()) != nullptr, directory.c_str());
  fs::current_path(directory);
  RowOf(2 * options.rows);
  __BeginGlobal();
  Compare(options);
  CompareImport(options);
  CostAgainstRows(options.rows);
  CostOfArrays();
  __EndGlobal();
  fs::current_path("/");
  fs::remove_all(directory);
}
