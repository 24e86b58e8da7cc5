// A setting that cannot be understood makes every call fail: a test that believes in a fault must not run without it.
#include "common/faults.h"

#include <cstdlib>

#include "common/calendar.h"
#include "common/text.h"

namespace device {

namespace {

/// The number of a variable "number[:function]" when it applies to `function`. False when it cannot be understood.
bool readNumber(const char* variable, std::string_view function, std::int64_t least, std::int64_t most,
                std::optional<std::int64_t>& number) {
  const char* setting = std::getenv(variable);
  if (setting == nullptr || *setting == '\0') return true;
  const std::string_view text = setting;
  const std::size_t colon = text.find(':');
  number = parseInteger(text.substr(0, colon), least, most);
  if (!number) return false;
  if (colon != std::string_view::npos && text.substr(colon + 1) != function) number.reset();
  return true;
}

}  // namespace

std::optional<Faults> Faults::read(std::string_view function) {
  std::optional<std::int64_t> delay;
  std::optional<std::int64_t> overrun;
  std::optional<std::int64_t> result;
  if (!readNumber("TELLIRA_SIM_DELAY_MS", function, 0, 600'000, delay) ||
      !readNumber("TELLIRA_SIM_OVERRUN", function, 1, 1 << 20, overrun) ||
      !readNumber("TELLIRA_SIM_RESULT", function, -32768, -1, result)) {
    return std::nullopt;
  }
  Faults faults;
  faults.delayMilliseconds = static_cast<int>(delay.value_or(0));
  faults.overrunBytes = static_cast<std::size_t>(overrun.value_or(0));
  if (result) faults.result = static_cast<int>(*result);
  return faults;
}

std::optional<std::tm> localNow() {
  std::tm now{};
  const char* setting = std::getenv("TELLIRA_SIM_NOW");
  if (setting == nullptr || *setting == '\0') {
    const std::time_t seconds = std::time(nullptr);
    localtime_r(&seconds, &now);
    return now;
  }
  return parseMoment(setting);
}

}  // namespace device
