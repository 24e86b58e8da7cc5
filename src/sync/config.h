// Inside the sync floor: whom the device calls and who it is, the one record of table CAD_USER.
#pragma once

#include <string>

#include "sync/vornesync.h"

namespace vorne {

struct UserSettings {
  std::string host, user, deviceType, device, port, timeout;  ///< trimmed
};

enum class SettingsFound { Yes, NoTable, CannotOpen };
/// Reads them; an empty table reads as empty texts.
SettingsFound ReadSettings(UserSettings& settings);
/// Stores them, the user trimmed and in capitals; the table is made when missing. False when it cannot be opened.
bool StoreSettings(UserSettings settings);

}  // namespace vorne
