// A whole session against a host that says whatever it likes. The input is cut into replies: two bytes of length, of
// which the highest bit asks for the reply's end to be deflated as a packet's content, so that most inputs get past
// frames and zlib. An error that ends the process is a fault here, and so is a file outside the working directory.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "runtime/process.h"
#include "scratch_directory.h"
#include "storage/vornerdd.h"
#include "sync/compression.h"
#include "sync/scripted_host.h"
#include "sync/session_globals.h"
#include "sync/vornesync.h"

namespace {

constexpr std::size_t kPacketHead = 8;  // status, kind, length, records, size: what stands in front of the content

void put(std::string& reply, std::size_t at, std::size_t value) {
  reply[at] = static_cast<char>(value >> 8);
  reply[at + 1] = static_cast<char>(value);
}

// The same reply with its content deflated and the lengths that belong to it.
std::string deflated(std::string reply) {
  if (reply.size() <= kPacketHead) return reply;
  const std::string content = reply.substr(kPacketHead);
  const std::vector<char> stream = vorne::Deflate(content);
  reply.resize(kPacketHead);
  reply.append(stream.begin(), stream.end());
  put(reply, 2, reply.size() + 2);
  put(reply, 6, content.size());
  return reply;
}

void script(ScriptedHost& host, std::string_view input) {
  while (input.size() > 2) {
    const bool packet = (input[1] & 0x80) != 0;
    const auto length = static_cast<std::size_t>(static_cast<unsigned char>(input[0]) | (input[1] & 0x0F) << 8);
    const std::string reply(input.substr(2, length));
    host.reply(packet ? deflated(reply) : reply);
    input.remove_prefix(std::min(input.size(), 2 + length));
  }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  enterScratchDirectory();
  std::filesystem::create_directory("work");
  std::filesystem::current_path("work");
  vorne::endProcessHook = [](int) { std::abort(); };
  if (std::freopen("/dev/null", "r", stdin) == nullptr) std::abort();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  namespace fs = std::filesystem;
  for (const auto& entry : fs::directory_iterator(".")) fs::remove_all(entry);
  ScriptedHost host;
  host.welcome();
  script(host, {reinterpret_cast<const char*>(data), size});
  __BeginGlobal();
  const auto text = [](const char* content) { return __INIT_CHARPTR(content); };
  // Twice, as the store does the next day: what the first one left is taken up.
  for (int session = 0; session < 2; ++session) {
    if (session == 1) {
      host.script.clear();
      host.welcome().reply("0");
    }
    __DoSync(text("A"), text("host"), __INIT_DOUBLE(7000), __INIT_DOUBLE(20), text("DEV"), text("GROUP"));
  }
  __EndGlobal();
  CloseCatalog();
  const auto others = std::distance(fs::directory_iterator(".."), fs::directory_iterator());
  if (others != 1) std::abort();
  return 0;
}
