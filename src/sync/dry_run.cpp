#include "sync/dry_run.h"

#include <utility>

#include "log/message_log.h"
#include "screen/back_end.h"
#include "sync/session_globals.h"

namespace vorne {

namespace {

// In this mode a login says that the device has tables, whether or not: a host forgets what a device has that says
// otherwise.
class NewMode {
 public:
  NewMode() = default;
  NewMode(const NewMode&) = delete;
  NewMode& operator=(const NewMode&) = delete;
  ~NewMode() { bNewSync = before_; }

 private:
  const Boolean before_ = std::exchange(bNewSync, Boolean{1});
};

// A line of its own for each task, which is cut: to a host any further request, also the farewell, is the word that the
// task was done. How many tasks there are; 0 when that failed.
int fetchAlone(int n, const HostAccess& host, Task& task) {
  int socket = 0;
  long comm = 0;
  netglb->m_timeout = host.timeout;
  if (Connect(host.address.c_str(), static_cast<UInt16>(host.port), &socket, &comm, host.group.c_str(), "",
              host.device.c_str(), 0) != 0)
    return 0;
  const int count = TaskCount(socket);
  if (netglb->errStatus == 0 && n <= count) FetchTask(n, socket, task);
  CloseSocket(&socket);
  return netglb->errStatus == 0 ? count : 0;
}

}  // namespace

int TellTasks(const HostAccess& host, const std::function<void(int number, const Task& task)>& tell) {
  const NoMessageLog quiet;
  const NewMode mode;
  const ScreenBackEnd shown = screen;
  VerifyBuffers();
  for (int n = 1, count = 1; n <= count; ++n) {
    Task task = {};
    count = fetchAlone(n, host, task);
    if (n <= count) tell(n, task);
    // The other lines tell nothing new.
    screen = kTextScreen;
  }
  screen = shown;
  const int status = netglb->errStatus;
  FreeNetGlobals();
  return status;
}

}  // namespace vorne
