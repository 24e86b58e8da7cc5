#include "sync/dry_run.h"

#include "sync/session_globals.h"

namespace vorne {

int TellTasks(const HostAccess& host, const std::function<void(int number, const Task& task)>& tell) {
  VerifyBuffers();
  __VerifyNgGlb();
  netglb->m_timeout = host.timeout;
  int socket = 0;
  long comm = 0;
  if (Connect(host.address.c_str(), static_cast<UInt16>(host.port), &socket, &comm, host.group.c_str(), "",
              host.device.c_str(), 0) == 0) {
    const int count = TaskCount(socket);
    for (int n = 1; n <= count && netglb->errStatus == 0; ++n) {
      Task task = {};
      if (FetchTask(n, socket, task) == 0) tell(n, task);
    }
    Disconnect(comm, &socket);
  }
  const int status = netglb->errStatus;
  FreeNetGlobals();
  return status;
}

}  // namespace vorne
