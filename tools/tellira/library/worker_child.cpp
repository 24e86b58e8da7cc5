// The child behaves as a host does: it loads the library, calls it, and ends when there are no more requests. Replies
// are told from what is printed by going through the socket alone.
#include "library/worker_child.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace tool {
namespace {

using ExecInClient = int (*)(int, char*, char*, int);
using SetSwitch = void (*)(short);

struct Library {
  ExecInClient exec = nullptr;
  SetSwitch setEncode = nullptr;
};

bool readAll(int from, void* to, std::size_t size) {
  auto* at = static_cast<char*>(to);
  while (size > 0) {
    const ssize_t got = read(from, at, size);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) return false;
    at += got;
    size -= static_cast<std::size_t>(got);
  }
  return true;
}

bool sendAll(int to, const void* from, std::size_t size) {
  const auto* at = static_cast<const char*>(from);
  while (size > 0) {
    const ssize_t sent = send(to, at, size, MSG_NOSIGNAL);
    if (sent < 0 && errno == EINTR) continue;
    if (sent <= 0) return false;
    at += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

void reply(int calls, Reply kind, int returned, const char* bytes, std::size_t size) {
  std::fflush(nullptr);  // whatever was printed during the call is in the pipe before its answer
  const ReplyHead head{kind, returned, static_cast<std::uint32_t>(size)};
  if (sendAll(calls, &head, sizeof head)) sendAll(calls, bytes, size);
}

[[noreturn]] void giveUp(int calls, Reply kind, const std::string& reason) {
  reply(calls, kind, 0, reason.data(), reason.size());
  // Without what a host's end would do: no library was used.
  std::_Exit(1);
}

template <typename Function>
Function find(void* handle, const char* name, int calls) {
  void* const address = dlsym(handle, name);
  if (address == nullptr) giveUp(calls, Reply::kNoExport, name);
  return reinterpret_cast<Function>(address);
}

Library load(const std::string& library, const std::string& directory, int calls) {
  if (chdir(directory.c_str()) != 0) giveUp(calls, Reply::kNoDirectory, std::strerror(errno));
  void* const handle = dlopen(library.c_str(), RTLD_LAZY | RTLD_LOCAL);
  if (handle == nullptr) giveUp(calls, Reply::kNotLoaded, dlerror());
  return {find<ExecInClient>(handle, "ExecInClientDLL", calls), find<SetSwitch>(handle, "SetEncode", calls)};
}

/// Standard input gives an end at once, so that a stop message which waits for a key does not wait; standard output
/// and standard error become the words that the parent reads.
void redirect(int words) {
  const int nothing = open("/dev/null", O_RDONLY);
  if (nothing >= 0) dup2(nothing, STDIN_FILENO);
  dup2(words, STDOUT_FILENO);
  dup2(words, STDERR_FILENO);
}

void serveOne(const Library& library, const RequestHead& request, std::string& parameter, int calls) {
  // One byte beyond what the library is told stays zero, so the text has an end even when the library fills the rest.
  std::vector<char> out(static_cast<std::size_t>(request.outBytes) + 1);
  library.setEncode(request.plain != 0 ? 0 : 1);
  const int returned = library.exec(request.command, parameter.data(), out.data(), request.outBytes);
  reply(calls, Reply::kAnswered, returned, out.data(), strnlen(out.data(), out.size() - 1));
}

}  // namespace

void serveCalls(const std::string& library, const std::string& directory, int calls, int words) {
  // A killed tool must not leave a child behind that keeps the devices to itself.
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  redirect(words);
  Library loaded;
  RequestHead request{};
  while (readAll(calls, &request, sizeof request)) {
    std::string parameter(request.parameterBytes, '\0');
    if (!readAll(calls, parameter.data(), parameter.size())) break;
    // Loaded with the first call: what is missing can be told only as the answer to one.
    if (loaded.exec == nullptr) loaded = load(library, directory, calls);
    serveOne(loaded, request, parameter, calls);
  }
  // So that the library is left as a host leaves it: what it closes at its end it closes here.
  std::exit(0);
}

}  // namespace tool
