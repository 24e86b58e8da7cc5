// Result codes that both kinds of device share; the README lists what each means for the host.
#pragma once

namespace device {

inline constexpr int kFileError = -1;
#define DEVICE_CODE(name, number, meaning) inline constexpr int name = number;
#include "generated/device_codes.def"

}  // namespace device
