// What a host call costs: the round trip of ECF_NumeroCupom through the finished library (a), against a bare loop that
// does only what cannot be avoided (b): create and truncate the log file, write its line, close it, open the loaded
// vendor library, find the function, call it. Both are timed call by call and take turns in blocks of a hundred: the
// machine's mood meets both alike, and neither waits for what the other left to the disk; median and 99th percentile
// are of single calls. After that, a million calls must leave memory and open files where the first thousand left them.
//
// Run: bench_host_call [--directory DIR]   DIR (default: a new one under /tmp) is where the log file is written.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

using HostEntry = int (*)(int, char*, char*, int);
using Clock = std::chrono::steady_clock;

HostEntry hostEntry() {
  static const auto entry = reinterpret_cast<HostEntry>(dlsym(dlopen(LIBRARY, RTLD_NOW), "ExecInClientDLL"));
  return entry;
}

char params[] = "RUNGX051bWVyb0N1cG9tASAgICAgIAIA";  // ECF_NumeroCupom and six blanks

bool hostCall() {
  char out[256];
  return hostEntry()(0, params, out, sizeof out) == 1 && std::strcmp(out, "MQEwMDEyMzQA") == 0;
}

bool bareCall() {
  std::FILE* log = std::fopen("./bare.log", "w+");
  if (log == nullptr) return false;
  std::fprintf(log, "aParams -> %lx - aParamSz=%d \n", reinterpret_cast<unsigned long>(params), 32);
  std::fclose(log);
  void* vendor = dlopen("./libconvecf.so", RTLD_LAZY);
  const auto function = reinterpret_cast<int (*)(char*)>(dlsym(vendor, "ECF_NumeroCupom"));
  char number[16];
  return function(number) == 1 && std::strcmp(number, "001234") == 0;
}

/// Microseconds that one call takes.
template <typename Call>
double timed(Call call, benchmark::State& state) {
  const auto start = Clock::now();
  if (!call()) state.SkipWithError("wrong answer");
  return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
}

double at(std::vector<double>& times, double share) {
  const auto n = times.begin() + static_cast<std::ptrdiff_t>(share * static_cast<double>(times.size() - 1));
  std::nth_element(times.begin(), n, times.end());
  return *n;
}

constexpr int kBlock = 100;

void hostCallAgainstBareLoop(benchmark::State& state) {
  std::vector<double> host, bare;
  for (auto _ : state) {
    const auto start = Clock::now();
    for (int i = 0; i < kBlock; ++i) host.push_back(timed(hostCall, state));
    for (int i = 0; i < kBlock; ++i) bare.push_back(timed(bareCall, state));
    state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
  }
  if (host.empty()) return;
  state.counters["a_median_us"] = at(host, 0.5);
  state.counters["b_median_us"] = at(bare, 0.5);
  state.counters["a_p99_us"] = at(host, 0.99);
  state.counters["b_p99_us"] = at(bare, 0.99);
  state.counters["a/b"] = at(host, 0.5) / at(bare, 0.5);
  state.counters["a-b_us"] = at(host, 0.5) - at(bare, 0.5);
}
BENCHMARK(hostCallAgainstBareLoop)->Iterations(200)->Repetitions(3)->ReportAggregatesOnly(false)->UseManualTime();

long residentKiB() {
  std::ifstream status("/proc/self/statm");
  long size = 0, resident = 0;
  status >> size >> resident;
  return resident * sysconf(_SC_PAGESIZE) / 1024;
}

long openFiles() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator{});
}

void aMillionCalls(benchmark::State& state) {
  for (auto _ : state) {
    for (int i = 0; i < 1000; ++i) hostCall();
    const long memory = residentKiB();
    const long files = openFiles();
    for (int i = 1000; i < 1000000; ++i) {
      if (!hostCall()) state.SkipWithError("wrong answer");
    }
    state.counters["resident_growth_KiB"] = static_cast<double>(residentKiB() - memory);
    state.counters["open_files_growth"] = static_cast<double>(openFiles() - files);
  }
}
BENCHMARK(aMillionCalls)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

int main(int argc, char** argv) {
  std::string directory;
  for (int i = 1; i + 1 < argc; ++i) {
    if (std::strcmp(argv[i], "--directory") != 0) continue;
    directory = argv[i + 1];
    std::rotate(argv + i, argv + i + 2, argv + argc);
    argc -= 2;
  }
  benchmark::Initialize(&argc, argv);
  char scratch[] = "/tmp/tellira-bench-XXXXXX";
  if (directory.empty()) directory = mkdtemp(scratch);
  std::filesystem::current_path(directory);
  std::filesystem::copy_file(VENDOR, "libconvecf.so", std::filesystem::copy_options::overwrite_existing);
  benchmark::RunSpecifiedBenchmarks();
  if (directory == scratch) std::filesystem::remove_all(directory);
}
