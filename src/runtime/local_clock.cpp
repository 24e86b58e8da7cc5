#include "runtime/local_clock.h"

namespace vorne {

std::tm LocalNow() {
  const std::time_t now = std::time(nullptr);
  std::tm local{};
  tzset();  // localtime_r alone would stay with the zone of the first call
  localtime_r(&now, &local);
  return local;
}

}  // namespace vorne
