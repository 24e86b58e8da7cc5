// Result codes that both kinds of device share; the README lists what each means for the host.
#pragma once

namespace device {

inline constexpr int kFileError = -1;
inline constexpr int kDamagedState = -4;
inline constexpr int kBadFault = -90;
inline constexpr int kInternalError = -98;
inline constexpr int kNoHandler = -99;

}  // namespace device
