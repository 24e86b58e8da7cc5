// The rights to the files of databases, looked at before anything is read as empty or half changed.
#pragma once

#include <string>

namespace tool {

enum class Use { kReads, kWrites };

inline constexpr const char* kRefused = ".\n  next: look at its rights, and who runs the tool.";

/// A file that is not there is not refused.
/// @throws Failure (kEnded) with the file and the cause when the system does not let it be used so
void demandAccess(const std::string& path, Use use);

/// The program that has the databases open, as in "process 1234 (pdv)"; "a program" when the system does not tell.
/// @param data the directory that holds them
std::string userOf(const std::string& data);

/// @param directory the working directory that holds "DB"
/// @throws Failure (kUsage) always: a program has its databases open
[[noreturn]] void refuseInUse(const std::string& directory);

}  // namespace tool
