// A slot is a database's ID less one. It is taken when a database is found, before it is opened, and kept until it is
// closed for the last time, or the catalogue is; OpenFiles[i] is &databases[i] while slot i is taken, else null.
#include "storage/records/open_databases.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>

#include "storage/format/names.h"
#include "storage/records/handles.h"

OpenStruct** OpenFiles = nullptr;

namespace vorne {

OpenStruct* databases = nullptr;
void (*beforeDeletion)(DmOpenRef db) = nullptr;

namespace {

// By folded name; as many entries as slots that are taken.
std::unordered_map<std::string, UInt32> slotOfName;
UInt32 firstFreeSlot = 0;  // none below is free

UInt32 slotOf(const OpenStruct* db) {
  return static_cast<UInt32>(db - databases);
}

}  // namespace

bool MakeOpenFiles() {
  OpenFiles = static_cast<OpenStruct**>(std::calloc(kOpenFiles + 1, sizeof(OpenStruct*)));
  databases = static_cast<OpenStruct*>(std::calloc(kOpenFiles, sizeof(OpenStruct)));
  firstFreeSlot = 0;
  slotOfName.clear();
  if (OpenFiles != nullptr && databases != nullptr) return true;
  FreeOpenFiles();
  return false;
}

void FreeOpenFiles() {
  std::free(OpenFiles);
  std::free(databases);
  OpenFiles = nullptr;
  databases = nullptr;
}

DmOpenRef FoundDatabase(std::string_view name) {
  const auto found = slotOfName.find(FoldedName(name));
  return found == slotOfName.end() ? nullptr : &databases[found->second];
}

DmOpenRef DatabaseById(LocalID id) {
  return OpenFiles == nullptr || id < 1 || id > kOpenFiles ? nullptr : OpenFiles[id - 1];
}

LocalID IdOf(const OpenStruct* db) {
  return slotOf(db) + 1;
}

DmOpenRef TakeDatabase(std::string_view name, UInt32 entry) {
  while (firstFreeSlot < kOpenFiles && OpenFiles[firstFreeSlot] != nullptr) ++firstFreeSlot;
  if (firstFreeSlot >= kOpenFiles) return nullptr;
  DmOpenRef db = &databases[firstFreeSlot];
  *db = {};
  // Names come from the catalogue here, which bounds them to 31 letters; the field has 128.
  std::memcpy(db->fName, name.data(), name.size());
  db->fOffset = entry;
  db->Record = kNoRecord;
  db->firstHandle = kNoHandle;
  OpenFiles[firstFreeSlot] = db;
  slotOfName[FoldedName(name)] = firstFreeSlot;
  return db;
}

void ForgetDatabase(DmOpenRef db) {
  const UInt32 slot = slotOf(db);
  slotOfName.erase(FoldedName(db->fName));
  OpenFiles[slot] = nullptr;
  if (slot < firstFreeSlot) firstFreeSlot = slot;
}

void RenameDatabase(DmOpenRef db, std::string_view name) {
  const std::string to(name);
  slotOfName.erase(FoldedName(db->fName));
  slotOfName[FoldedName(to)] = slotOf(db);
  std::snprintf(db->fName, sizeof db->fName, "%s", to.c_str());
  if (db->hFile != nullptr) std::snprintf(db->hFile->cfile, sizeof db->hFile->cfile, "%s", to.c_str());
  if (db->hOS != nullptr) std::snprintf(db->hOS->cfile, sizeof db->hOS->cfile, "%s", OffsetsName(to).c_str());
}

}  // namespace vorne
