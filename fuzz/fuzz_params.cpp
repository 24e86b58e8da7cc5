// Whatever a host may pass as the parameter text, against vendor libraries that do nothing. An even first byte means
// that the rest is the text as it stands, an odd one that it is encoded first, so that most inputs get past the
// decoder. Errors end the process; here they only end the call.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "bridge/host_entry.h"
#include "builtins/vornefun.h"
#include "runtime/process.h"
#include "scratch_directory.h"

namespace {

struct CallEnded {};

void endCall(int) {
  throw CallEnded{};
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  enterScratchDirectory();
  for (const char* library : {"libconvecf.so", "bemafi32.so", "libclisitef.so"})
    std::filesystem::create_symlink(NOTHING_VENDOR, library);
  vorne::endProcessHook = endCall;
  if (std::freopen("/dev/null", "r", stdin) == nullptr) std::abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const bool encode = data[0] % 2 == 1;
  const int outLen = data[0] / 2 * 40;
  std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  if (encode) {
    char* encoded = Encode64(text.data(), static_cast<int>(text.size()));
    text = encoded;
    FreeEncode64(encoded);
  }
  std::vector<char> out(static_cast<std::size_t>(outLen));
  try {
    ExecInClientDLL(0, text.data(), out.data(), outLen);
  } catch (const CallEnded&) {
    __EndGlobal();
  }
  return 0;
}
