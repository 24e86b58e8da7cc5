// Faults on purpose and the devices' clock, both set through the environment and read at every call.
#pragma once

#include <cstddef>
#include <ctime>
#include <optional>
#include <string_view>

namespace device {

/// What the environment asks of one call.
struct Faults {
  int delayMilliseconds{};
  std::size_t overrunBytes{};
  std::optional<int> result;

  /// The faults that apply to `function`; nothing when a variable cannot be understood.
  static std::optional<Faults> read(std::string_view function);
};

/// Local time of the devices; TELLIRA_SIM_NOW makes it stand still. Nothing when that cannot be understood.
std::optional<std::tm> localNow();

}  // namespace device
