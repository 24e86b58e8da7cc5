// Every exported function comes through here. In this order: settings of the faults, waiting, a result that was asked
// for, the arguments, the work, a writing beyond the place.
#include "common/boundary.h"

#include <chrono>
#include <cstring>
#include <exception>
#include <thread>

#include "common/codes.h"
#include "common/faults.h"

namespace device {

int serve(std::string_view function, std::initializer_list<Native> places, int badArgument, Work work) {
  Arguments arguments(places);
  const auto faults = Faults::read(function);
  const auto now = localNow();
  if (!faults || !now) return kBadFault;
  if (faults->delayMilliseconds > 0) {
    std::this_thread::sleep_for(std::chrono::milliseconds(faults->delayMilliseconds));
  }
  if (faults->result) return *faults->result;
  if (!arguments.complete()) return badArgument;

  char* const text = faults->overrunBytes > 0 ? arguments.firstText() : nullptr;
  const std::size_t given = text != nullptr ? strnlen(text, kLongestText) : 0;
  int result = kInternalError;
  try {
    result = work(function, arguments, *now);
  } catch (const std::exception&) {
    result = kInternalError;  // the host may be C; nothing may pass through it
  }
  if (text != nullptr) std::memset(text + given, 'X', faults->overrunBytes);
  return result;
}

}  // namespace device
