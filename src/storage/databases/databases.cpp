// Finding, making and deleting databases, and what is known of them as a whole. Order when making: the files, then the
// entry; when deleting and renaming: the entry is changed under the journal's protection around the files' change. So
// an entry without a file, or a file without an entry, is what a kill leaves, and each is dealt with when that name is
// met next.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "storage/databases/catalog.h"
#include "storage/databases/database_files.h"
#include "storage/databases/opening.h"
#include "storage/databases/put_away.h"
#include "storage/format/names.h"
#include "storage/journal/journal.h"
#include "storage/records/app_info.h"
#include "storage/records/open_databases.h"

using namespace vorne;

Err DmCreateDatabase(UInt16, const char* name, UInt32 creator, UInt32 type, Boolean) {
  if (name == nullptr) return errArgument;
  if (const Err failed = OpenCatalog()) return failed;
  // Not found may also mean that too many are: only the entry tells that it can be made.
  if (DmFindDatabase(0, name) != 0 || CatalogEntryOf(name) != 0) return errAlreadyExists;
  if (const Err failed = CheckNewName(name, KindOfType(type) == kVariableDatabase)) return failed;
  DatabaseHdrType entry = {};
  std::string_view(name).copy(entry.name, kLongestName);
  GetLocalTime(&entry.creationDate);
  entry.modificationDate = entry.creationDate;
  entry.type = type;
  entry.creator = creator;
  __PositionOnFirstNullCatalog(entry.name);
  // Files without an entry are what is left of a database that was being made or deleted, unless the entry was lost.
  PutAway old({name});
  if (!old.isDone()) CannotCreate(old.failed().c_str(), errno);
  DeleteFile(PathOf(name).c_str());
  RemoveOffsetsFile(name);
  if (!MakeDataFile(name, type)) {
    const int failure = errno;
    DeleteFile(PathOf(name).c_str());
    old.back();
    CannotCreate(name, failure);
  }
  AddCatalogEntry(entry);
  return errNone;
}

LocalID DmFindDatabase(UInt16, const char* name) {
  if (name == nullptr || OpenCatalog() != errNone) return 0;
  if (const DmOpenRef open = FoundDatabase(name)) return IdOf(open);
  const UInt32 entry = CatalogEntryOf(name);
  if (entry == 0) return 0;
  // The file has the name as the catalogue spells it.
  const std::string stored(CatalogEntryName(entry));
  if (!IsDatabaseName(stored)) return 0;
  if (HasVanished(stored)) {
    ClearCatalogEntry(entry);
    return 0;
  }
  const DmOpenRef db = TakeDatabase(stored, entry);
  return db == nullptr ? 0 : IdOf(db);
}

Err DmDeleteDatabase(UInt16, LocalID id) {
  DmOpenRef db = DatabaseById(id);
  if (db == nullptr) return errArgument;
  if (beforeDeletion != nullptr) beforeDeletion(db);
  const std::string name = db->fName;
  const UInt32 entry = db->fOffset;
  UnmapDatabase(db);
  ForgetDatabase(db);
  bool removed = false;
  // On a full disk it must go all the same; should the process die in between, its entry goes when it is looked for.
  if (HasJournal())
    ChangeCatalogEntry(entry, {}, [&] { return removed = RemoveFiles(name); });
  else if ((removed = RemoveFiles(name)))
    ClearCatalogEntry(entry);
  return removed ? errNone : errArgument;
}

namespace {

template <class T>
void give(T* to, const T& value) {
  if (to != nullptr) *to = value;
}
template <class T>
void take(T& to, const T* value) {
  if (value != nullptr) to = *value;
}

Err rename(DmOpenRef db, const char* name) {
  const std::string from = db->fName;
  const std::string to = name;
  if (to == from) return errNone;
  DatabaseHdrType entry = CatalogEntryAt(db->fOffset);
  const UInt32 taken = CatalogEntryOf(to);
  if (taken != 0 && taken != db->fOffset) return errAlreadyExists;
  if (const Err failed = CheckNewName(to, HasOffsets(db->fOffset))) return failed;
  // Zeros behind the name: the whole field is compared when entries are.
  std::memset(entry.name, 0, sizeof entry.name);
  std::memcpy(entry.name, to.data(), to.size());
  bool renamed = false;
  ChangeCatalogEntry(db->fOffset, entry, [&] { return renamed = RenameFiles(from, to); });
  if (!renamed) return errArgument;

  RenameDatabase(db, to);
  return errNone;
}

}  // namespace

Err DmDatabaseInfo(UInt16, LocalID id, char* name, UInt16* attributes, UInt16* version, SYSTEMTIME* created,
                   SYSTEMTIME* modified, UInt32* backedUp, UInt32* modification, LocalID* appInfo, LocalID* sortInfo,
                   UInt32* type, UInt32* creator) {
  const OpenStruct* db = DatabaseById(id);
  if (db == nullptr) return errArgument;
  const DatabaseHdrType entry = CatalogEntryAt(db->fOffset);
  if (name != nullptr) std::snprintf(name, kLongestName + 1, "%.31s", entry.name);
  give(attributes, entry.attributes);
  give(version, entry.version);
  give(created, entry.creationDate);
  give(modified, entry.modificationDate);
  give(backedUp, entry.lastBackupDate);
  give(modification, entry.modificationNumber);
  give(appInfo, db->appInfoID);
  give(sortInfo, db->sortInfoID);
  give(type, entry.type);
  give(creator, entry.creator);
  return errNone;
}

Err DmSetDatabaseInfo(UInt16, LocalID id, const char* name, const UInt16* attributes, const UInt16* version,
                      const SYSTEMTIME*, const SYSTEMTIME*, const UInt32* backedUp, const UInt32* modification,
                      const LocalID* appInfo, const LocalID* sortInfo, const UInt32* type, const UInt32* creator) {
  DmOpenRef db = DatabaseById(id);
  if (db == nullptr) return errArgument;
  if (appInfo != nullptr)
    if (const Err failed = SetAppInfo(db, *appInfo)) return failed;
  // Kept with the open database alone: the catalogue has no field for it.
  take(db->sortInfoID, sortInfo);
  if (name != nullptr)
    if (const Err failed = rename(db, name)) return failed;
  DatabaseHdrType entry = CatalogEntryAt(db->fOffset);
  take(entry.attributes, attributes);
  take(entry.version, version);
  take(entry.lastBackupDate, backedUp);
  take(entry.modificationNumber, modification);
  take(entry.type, type);
  take(entry.creator, creator);
  ChangeCatalogEntry(db->fOffset, entry);
  return errNone;
}
