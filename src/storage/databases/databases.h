// Inside the storage floor: the table of databases that have been found.
#pragma once

#include <string>
#include <string_view>

#include "storage/records/moves.h"

namespace vorne {

bool MakeOpenFiles();
void FreeOpenFiles();
/// Closes all of them, writing back what is pending.
void CloseDatabases();

/// The references given out, one for each slot of OpenFiles; null while the catalogue is closed.
extern OpenStruct* databases;

/// True for a reference that this floor gave out and still keeps; `IsOpen` also wants its data file mapped.
inline bool IsFound(DmOpenRef db) {
  const auto place = reinterpret_cast<std::uintptr_t>(db) - reinterpret_cast<std::uintptr_t>(databases);
  return databases != nullptr && place < kOpenFiles * sizeof(OpenStruct) && place % sizeof(OpenStruct) == 0 &&
         OpenFiles[place / sizeof(OpenStruct)] == db;
}
inline bool IsOpen(DmOpenRef db) {
  return IsFound(db) && db->hFile != nullptr;
}
inline bool IsVariable(const OpenStruct& db) {
  return db.Head.Type == kVariableDatabase;
}

/// Brings everything in memory up to date after a move in the data file that was made: working header, handles, the
/// places of the records that moved.
void FollowMove(DmOpenRef db, const TailMove& move);
/// The same after a growth without a move.
void FollowGrowth(DmOpenRef db);

}  // namespace vorne
