// Inside the sync floor: a task that the host holds for this device.
#pragma once

#include <cstdint>
#include <string>

namespace vorne {

struct Task {
  std::uint8_t code;
  std::string name;
  std::int32_t records;
  char type;
};
/// Asks for task `n` and reads it without doing it. 0; 9999 for table work while the application has to start again;
/// else what TaskExecute returns when that fails.
int FetchTask(int n, int socket, Task& task);

}  // namespace vorne
