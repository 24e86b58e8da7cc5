// Inside the storage floor: the table of databases that have been found.
#pragma once

#include <string_view>

#include "storage/vornerdd.h"

namespace vorne {

/// Makes and frees the table; false without memory.
bool MakeOpenFiles();
void FreeOpenFiles();

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

/// The database of that name among those that have been found, null for none.
DmOpenRef FoundDatabase(std::string_view name);
/// The database of an ID, null for a wrong one.
DmOpenRef DatabaseById(LocalID id);
LocalID IdOf(const OpenStruct* db);
/// Takes a slot for the database whose catalogue entry is at `entry`; null when there is none left.
DmOpenRef TakeDatabase(std::string_view name, UInt32 entry);
/// Frees its slot.
void ForgetDatabase(DmOpenRef db);
/// Gives it, and what of it is mapped, another name.
void RenameDatabase(DmOpenRef db, std::string_view name);

/// Called before a database is deleted, so that whoever works with it lets go of it; null while nobody wants to know.
extern void (*beforeDeletion)(DmOpenRef db);

}  // namespace vorne
