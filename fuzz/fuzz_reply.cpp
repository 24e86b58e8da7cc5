// One reply of a host, its length included, at each place of a session that waits for one; the first byte of the input
// tells which. An error that ends the process is a fault here, and so is a read outside of the frame.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "runtime/process.h"
#include "scratch_directory.h"
#include "sync/scripted_host.h"
#include "sync/session_globals.h"
#include "sync/vornesync.h"

namespace {

constexpr int kSocket = 77;

void readInstall(int socket) {
  char path[64] = "app.prc";
  ReadSock(netglb->m_buffer, socket);
  DoInstallsStart(path, sizeof path);
  DoInstallsStep();
  DoInstallsFinish(0);
}

using Reader = void (*)(int socket);
constexpr Reader kReaders[] = {
    [](int) { DoSync("host", 7000, "G", "", "D", 20, nullptr, nullptr, nullptr, nullptr); },
    [](int socket) { TaskCount(socket); },
    [](int socket) { TaskExecute(1, socket); },
    [](int socket) { ReceiveBmp(socket); },
    [](int socket) { TableFromHostToHH("TABLE", socket, 10, 'P'); },
    [](int socket) { TableFromHostToHH("TABLE", socket, 10, 'T'); },
    readInstall,
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  enterScratchDirectory();
  vorne::endProcessHook = [](int) { std::abort(); };
  if (std::freopen("/dev/null", "r", stdin) == nullptr) std::abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace fs = std::filesystem;
  if (size == 0) return 0;
  for (const auto& entry : fs::directory_iterator(".")) fs::remove_all(entry);
  __BeginGlobal();
  __VerifyNgGlb();
  VerifyBuffers();
  ScriptedHost host;
  host.script.assign(reinterpret_cast<const char*>(data) + 1, size - 1);
  kReaders[data[0] % std::size(kReaders)](kSocket);
  vorne::FreeNetGlobals();
  __EndGlobal();
  CloseCatalog();
  return 0;
}
