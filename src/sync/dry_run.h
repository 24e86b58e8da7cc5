// Inside the sync floor: a session that does nothing.
#pragma once

#include <functional>
#include <string>

#include "sync/tasks.h"

namespace vorne {

struct HostAccess {
  std::string address;
  int port;     ///< 1 to 65535
  int timeout;  ///< seconds
  std::string device, group;
};

/// Connects, logs in and calls `tell` for every task that the host holds, doing none; changes nothing on either side,
/// and makes no file. The session's code, 0 for success.
int TellTasks(const HostAccess& host, const std::function<void(int number, const Task& task)>& tell);

}  // namespace vorne
