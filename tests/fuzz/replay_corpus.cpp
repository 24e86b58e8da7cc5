// Feeds every file of the directories given to a fuzz target, in place of libFuzzer's main.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
extern "C" __attribute__((weak)) int LLVMFuzzerInitialize(int* argc, char*** argv);

namespace {

std::string current;  // the input that runs; empty when all is done

void replay(const std::filesystem::path& file) {
  current = file.string();
  std::ifstream in(file, std::ios::binary);
  const std::string input{std::istreambuf_iterator<char>(in), {}};
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(input.data()), input.size());
}

}  // namespace

int main(int argc, char** argv) {
  // The library ends the process with status 0 on its own errors, which no input of a corpus may cause.
  std::atexit([] {
    if (current.empty()) return;
    std::fprintf(stderr, "%s ended the process\n", current.c_str());
    _exit(1);
  });
  if (LLVMFuzzerInitialize != nullptr) LLVMFuzzerInitialize(&argc, &argv);
  int count = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::directory_iterator(argv[i])) {
      if (!entry.is_regular_file()) continue;
      replay(entry.path());
      ++count;
    }
  }
  current.clear();
  std::printf("%d inputs replayed\n", count);
  return count > 0 ? 0 : 1;
}
