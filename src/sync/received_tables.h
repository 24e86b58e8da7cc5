// Inside the sync floor: the list of the tables received since the last offline update, "FromHH".
#pragma once

#include <string>
#include <vector>

namespace vorne {

inline constexpr char kReceivedTables[] = "FromHH";

/// Adds a name, unless it is there. False when the list cannot be opened or cannot grow.
bool NoteReceivedTable(const char* name);
bool HasReceivedTables();
std::vector<std::string> ReceivedTables();
bool IsReceivedTable(const std::string& name);

}  // namespace vorne
